// Findings on a structure and its file: what would mislead whoever computes with it.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/check/finding.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

struct CheckOptions {
  /// What the reader itself warned of, each in one text.
  std::span<const std::string> reader_warnings{};
  /// Whether to search for the space group, which takes longer than all the rest; a structure of
  /// more than 400 atoms is left alone.
  bool search_symmetry = false;
};

/// The findings on a record that `parse_structure_file` gave, worst first and otherwise in the
/// order of the table in docs/findings.md. The file at `source_path` is looked into again, as far
/// as it is still there. The record is not changed, and a bad one is a finding; throws only what
/// the standard library does when memory runs out.
STRUCTURE_INGEST_API std::vector<Finding> check_structure(const IngestedStructure& record,
                                                          const CheckOptions& options = {});

struct CheckedStructure {
  IngestedStructure record;
  std::vector<Finding> findings;
};

/// Reads one structure file as `parse_structure_file` does, and checks it, symmetry included.
STRUCTURE_INGEST_API CheckedStructure check_structure_file(const std::string& path);

/// The worst severity among findings; a note when there are none.
STRUCTURE_INGEST_API Severity worst_severity(std::span<const Finding> findings);

}  // namespace structure_ingest
