// The findings for a file with a given content.
#pragma once

#include "structure_ingest/check/check.hpp"
#include "tests/scratch_folder.hpp"

namespace tests {

/// "error overlapping_atoms, note no_cell": severities and codes, worst first.
std::string codes_of(const std::vector<structure_ingest::Finding>& findings);

/// A file and what is found in it.
struct FindingsCase {
  std::string name;
  std::string content;
  std::string codes;
  std::string message = {};  // one of the messages; not looked at when it is empty
};

/// Writes each file, parses and checks it, and compares what is found.
void expect_findings(const std::vector<FindingsCase>& cases);

/// The message of the first finding of this code; empty when there is none.
std::string message_of(const std::vector<structure_ingest::Finding>& findings,
                       std::string_view code);

/// The items of a CIF for a cubic cell.
std::string cubic_cell(const std::string& edge);

/// Writes a file of this name, parses and checks it. CIF and VASP files need ASE.
std::vector<structure_ingest::Finding> findings_in(const ScratchFolder& folder,
                                                   std::string_view name, std::string_view content);

}  // namespace tests
