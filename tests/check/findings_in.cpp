#include "tests/check/findings_in.hpp"

#include "structure_ingest/readers/dispatch.hpp"

namespace tests {

using structure_ingest::Finding;

std::string codes_of(const std::vector<Finding>& findings) {
  std::string codes;
  for (const Finding& finding : findings) {
    codes += (codes.empty() ? "" : ", ") +
             std::string(structure_ingest::severity_name(finding.severity)) + " " + finding.code;
  }
  return codes;
}

std::string message_of(const std::vector<Finding>& findings, std::string_view code) {
  for (const Finding& finding : findings) {
    if (finding.code == code) return finding.message;
  }
  return {};
}

std::vector<Finding> findings_in(const ScratchFolder& folder, std::string_view name,
                                 std::string_view content) {
  // One process of ASE serves all tests.
  static structure_ingest::StructureParser parser;
  return structure_ingest::check_structure(parser.parse(folder.write(name, content)));
}

}  // namespace tests
