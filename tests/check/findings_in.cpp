#include "tests/check/findings_in.hpp"

#include <algorithm>

#include "structure_ingest/readers/dispatch.hpp"

namespace tests {

using structure_ingest::Finding;
using structure_ingest::StructureParser;

namespace {

std::optional<StructureParser>& parser() {
  static std::optional<StructureParser> parser;
  return parser;
}

/// Ends the ASE process after each test: other tests check that no process is left.
struct EndWithTest : testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override { parser().reset(); }
};

/// One ASE process serves all files of a test.
StructureParser& parser_of_test() {
  static bool listens = false;
  if (!listens) testing::UnitTest::GetInstance()->listeners().Append(new EndWithTest);
  listens = true;
  if (!parser()) parser().emplace();
  return *parser();
}

}  // namespace

std::string codes_of(const std::vector<Finding>& findings) {
  std::string codes;
  for (const Finding& finding : findings) {
    codes += (codes.empty() ? "" : ", ") +
             std::string(structure_ingest::severity_name(finding.severity)) + " " + finding.code;
  }
  return codes;
}

std::string cubic_cell(const std::string& edge) {
  return "_cell_length_a " + edge + "\n_cell_length_b " + edge + "\n_cell_length_c " + edge +
         "\n_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n";
}

std::string message_of(const std::vector<Finding>& findings, std::string_view code) {
  for (const Finding& finding : findings) {
    if (finding.code == code) return finding.message;
  }
  return {};
}

std::vector<Finding> findings_in(const ScratchFolder& folder, std::string_view name,
                                 std::string_view content) {
  return structure_ingest::check_structure(
      parser_of_test().parse(folder.write(name, content), {.content = true}));
}

void expect_findings(const std::vector<FindingsCase>& cases) {
  const ScratchFolder folder;
  for (const auto& [name, content, codes, message] : cases) {
    const std::vector<Finding> findings = findings_in(folder, name, content);
    EXPECT_EQ(codes_of(findings), codes) << name << "\n" << content;
    std::vector<std::string> messages = {""};
    for (const Finding& finding : findings) messages.push_back(finding.message);
    EXPECT_NE(std::find(messages.begin(), messages.end(), message), messages.end())
        << message << "\nis none of " << testing::PrintToString(messages);
  }
}

}  // namespace tests
