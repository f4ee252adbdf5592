// Findings on a structure and its file: properties that would mislead a calculation.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/check/finding.hpp"
#include "structure_ingest/check/quantities.hpp"
#include "structure_ingest/readers/parsed_structure.hpp"

namespace structure_ingest {

struct CheckOptions {
  /// Whether to search for the space group, which takes longer than all other checks together.
  /// Skipped for more than 400 atoms.
  bool search_symmetry = false;
  /// Gets the space group when it was searched for and found; may be null.
  std::optional<SpaceGroup>* space_group = nullptr;
};

/// The findings on what a parser read, worst first and otherwise in the order of the table in
/// docs/findings.md. With the content that the parser handed down, no file is opened but companions
/// that a message quotes; without it, that of the record is read again, if it still exists. Does
/// not change the record; a bad record is itself a finding. Throws only what the standard library
/// throws when memory runs out.
STRUCTURE_INGEST_API std::vector<Finding> check_structure(const ParsedStructure& parsed,
                                                          const CheckOptions& options = {});

/// As above, on a record alone.
STRUCTURE_INGEST_API std::vector<Finding> check_structure(const IngestedStructure& record,
                                                          const CheckOptions& options = {});

struct CheckedStructure {
  IngestedStructure record;
  std::vector<Finding> findings;
};

/// Reads one structure file as `parse_structure_file` does, and checks it, symmetry included.
STRUCTURE_INGEST_API CheckedStructure check_structure_file(const std::string& path);

/// Why a file gave no structure, by its record and the findings on it: the reader's words and,
/// where these end before the reason, that of the finding. Empty for a record that is ok.
STRUCTURE_INGEST_API std::string why_not_read(const IngestedStructure& record,
                                              std::span<const Finding> findings);

/// The same of a record alone, which is checked where that tells more.
STRUCTURE_INGEST_API std::string why_not_read(const IngestedStructure& record);

/// The worst severity among findings; a note when there are none.
STRUCTURE_INGEST_API Severity worst_severity(std::span<const Finding> findings);

}  // namespace structure_ingest
