// The page of findings has exactly one row for each rule, with the texts of the table, and checks
// return only rules of the table.
#include <gtest/gtest.h>

#include <set>

#include "structure_ingest/check/findings_json.hpp"
#include "structure_ingest/check/rules.hpp"
#include "tests/check/findings_in.hpp"

namespace structure_ingest {
namespace {

std::string row_of(const internal::Rule& rule) {
  std::string severity = severity_name(rule.worst);
  if (rule.least != rule.worst) severity += std::string(" to ") + severity_name(rule.least);
  return "| `" + std::string(rule.code) + "` | " + severity + " | " + rule.source + " | " +
         rule.looks_at + " | " + rule.meaning + " | " + rule.advice + " |\n";
}

TEST(FindingsPage, HasTheTable) {
  const std::string page = tests::content_of(STRUCTURE_INGEST_SOURCE_DIR "/docs/findings.md");
  const std::string head = "|---|---|---|---|---|---|\n";
  const std::size_t begin = page.find(head);
  ASSERT_NE(begin, std::string::npos);
  std::string rows;
  for (const internal::Rule& rule : internal::rules()) rows += row_of(rule);
  const std::size_t end = page.find("\n\n", begin);
  EXPECT_EQ(page.substr(begin + head.size(), end + 1 - begin - head.size()), rows);
}

TEST(Rules, AreWellFormed) {
  std::set<std::string> codes;
  std::set<std::string> sources;
  for (const internal::Rule& rule : internal::rules()) {
    EXPECT_TRUE(codes.insert(rule.code).second) << rule.code;
    EXPECT_GE(rule.worst, rule.least) << rule.code;
    EXPECT_EQ(internal::rule_of(rule.code), &rule);
    sources.insert(rule.source);
    for (const std::string text : {rule.looks_at, rule.meaning, rule.advice}) {
      EXPECT_TRUE(text.ends_with('.') && text.find('|') == std::string::npos) << text;
    }
  }
  EXPECT_GE(codes.size(), 40U);
  EXPECT_EQ(sources, (std::set<std::string>{"file", "geometry", "reader", "second reader"}));
  EXPECT_EQ(internal::rule_of("no_such"), nullptr);
}

TEST(FindingsJson, HoldsEverything) {
  const std::vector<Finding> findings = {
      {.code = "overlapping_atoms",
       .severity = Severity::error,
       .message = "Two\xFF.",
       .atoms = {1, 4},
       .source = "geometry"},
      {.code = "no_cell", .message = "None.", .source = "geometry"}};
  const std::vector<FileFindings> files = {{"/a\xFF.xyz", "0123456789abcdef", findings},
                                           {"/b.xyz", "", {}}};
  EXPECT_EQ(findings_json(files), Json::parse(R"({"version": 1, "structures": [
      {"source_path": "/a\uFFFDFF.xyz", "sha256": "0123456789abcdef", "findings": [
        {"code": "overlapping_atoms", "severity": "error", "message": "Two\uFFFDFF.",
         "atoms": [1, 4], "source": "geometry"},
        {"code": "no_cell", "severity": "note", "message": "None.", "atoms": [],
         "source": "geometry"}]},
      {"source_path": "/b.xyz", "sha256": "", "findings": []}]})"));
  EXPECT_EQ(worst_severity(findings), Severity::error);
  EXPECT_EQ(worst_severity({}), Severity::note);
}

}  // namespace
}  // namespace structure_ingest
