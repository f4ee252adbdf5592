// What is told of structures: records that were read, and what projects hold of them. All doors
// give this JSON; docs/schema/told.schema.json describes it.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace telling {

using structure_ingest::Json;

/// Lengths, angles, volume and density of the cell to six digits, and where it came from; null
/// without a cell.
Json cell_json(const structure_ingest::IngestedStructure& record);

/// A record without its atoms, and what was found.
Json record_json(const structure_ingest::IngestedStructure& record,
                 std::span<const structure_ingest::Finding> findings);

/// A structure that a project holds. `copy` is the absolute path of the copy that is there, to hand
/// to a program; null for none.
Json structure_json(const structure_ingest::ProjectStructure& structure,
                    const std::string& project);

/// Whether a structure is still what was taken in.
Json verified_json(const structure_ingest::VerifiedStructure& verified);

/// Whether a copy is all that is known of a structure: no entry of the state names it.
bool is_without_entry(const structure_ingest::VerifiedStructure& verified);

/// How many structures a project holds, how many of them are as they were, and how many files of
/// its state never gave one. "2 of 2 structures"; "2 of 2 structures, 1 file never gave one".
struct VerifiedCounts {
  std::size_t structures = 0;
  std::size_t as_they_were = 0;
  std::size_t never_read = 0;
};
VerifiedCounts counts_of(const structure_ingest::Verification& verification);
std::string in_short(const VerifiedCounts& counts);

/// A file that a scan found.
Json scanned_json(const structure_ingest::ScannedFile& file);

/// The path of the copy of a structure in its project; empty when none is there.
std::string copy_path(const structure_ingest::ProjectStructure& structure,
                      const std::string& project);

/// "H2O, 3 atoms, with a cell", or that it could not be read.
std::string in_short(const structure_ingest::ProjectStructure& structure);
std::string in_short(const structure_ingest::IngestedStructure& record);

}  // namespace telling
