// The page of findings has exactly one row for each rule, with the texts of the table, and checks
// return only rules of the table.
#include <gtest/gtest.h>

#include <set>

#include "structure_ingest/check/check.hpp"
#include "tests/check/findings_in.hpp"

namespace structure_ingest {
namespace {

std::string row_of(const FindingKind& kind) {
  std::string severity = severity_name(kind.worst);
  if (kind.least != kind.worst) severity += std::string(" to ") + severity_name(kind.least);
  return "| `" + std::string(kind.code) + "` | " + severity + " | " + kind.source + " | " +
         kind.condition + " | " + kind.meaning + " | " + kind.advice + " |\n";
}

TEST(FindingsPage, HasTheTable) {
  const std::string page = tests::content_of(STRUCTURE_INGEST_SOURCE_DIR "/docs/findings.md");
  const std::string head = "|---|---|---|---|---|---|\n";
  const std::size_t begin = page.find(head);
  ASSERT_NE(begin, std::string::npos);
  std::string rows;
  for (const FindingKind& kind : finding_kinds()) rows += row_of(kind);
  const std::size_t end = page.find("\n\n", begin);
  EXPECT_EQ(page.substr(begin + head.size(), end + 1 - begin - head.size()), rows);
}

TEST(Rules, AreWellFormed) {
  std::set<std::string> codes;
  std::set<std::string> sources;
  for (const FindingKind& kind : finding_kinds()) {
    EXPECT_TRUE(codes.insert(kind.code).second) << kind.code;
    EXPECT_GE(kind.worst, kind.least) << kind.code;
    EXPECT_EQ(finding_kind(kind.code).value().meaning, kind.meaning);
    sources.insert(kind.source);
    for (const std::string text : {kind.condition, kind.meaning, kind.advice}) {
      EXPECT_TRUE(text.ends_with('.') && text.find('|') == std::string::npos) << text;
    }
  }
  EXPECT_GE(codes.size(), 40U);
  EXPECT_EQ(sources, (std::set<std::string>{"file", "geometry", "reader", "second reader"}));
  EXPECT_FALSE(finding_kind("no_such"));
}

TEST(WorstSeverity, IsANoteForNothing) {
  std::vector<Finding> findings(3);
  findings[1].severity = Severity::error;
  findings[2].severity = Severity::warning;
  EXPECT_EQ(worst_severity(findings), Severity::error);
  EXPECT_EQ(worst_severity({}), Severity::note);
}

}  // namespace
}  // namespace structure_ingest
