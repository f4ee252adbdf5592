#include "structure_ingest/discovery/relevance_filter.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace structure_ingest::internal {
namespace {

using Notes = std::vector<std::string>;
using Places = std::vector<std::size_t>;

const std::vector<EntryNames> ENTRIES = {
    {"a.xyz", "copies/1.xyz", "H2O"}, {"b.xyz", "copies/2.xyz", ""}, {"a.xyz", "/v/a.xyz", ""}};

Filtered filter(const std::vector<RelevanceVerdict>& verdicts) {
  return drop_unrelated(ENTRIES, "iron", "other", [&] { return RelevanceReport{verdicts}; });
}

Notes notes_of(const Filtered& filtered) {
  Notes notes;
  for (const DroppedStructure& dropped : filtered.dropped) notes.push_back(note_on(dropped));
  return notes;
}

TEST(RelevanceFilter, DropsStructuresUnrelatedWithConfidence) {
  struct Case {
    std::vector<RelevanceVerdict> verdicts;
    Places kept;
    Notes notes;
  };
  const std::string no_match = "): it does not match the requested material.";
  for (const auto& [verdicts, kept, notes] : {
           Case{{}, {0, 1, 2}, {}},
           Case{{{"a.xyz", "other", 0.79, ""}, {"b.xyz", "related", 1.0, ""}}, {0, 1, 2}, {}},
           Case{{{"a.xyz", "other", 0.8, ""}},
                {1},
                {"Ignored 'a.xyz' (H2O" + no_match, "Ignored 'a.xyz' (unknown formula" + no_match}},
           Case{{{"copies/2.xyz", "other", 1, "no iron in it"}},
                {0, 2},
                {"Ignored 'b.xyz' (unknown formula): no iron in it."}},
           Case{{{"b.xyz", "other", 0.9, "first"}, {"b.xyz", "other", 0.8, "last"}},
                {0, 2},
                {"Ignored 'b.xyz' (unknown formula): last."}},
           // The file name is looked up before the path, in any order of the verdicts.
           Case{{{"a.xyz", "other", 1, "by name"}, {"/v/a.xyz", "other", 1, "by path"}},
                {1},
                {"Ignored 'a.xyz' (H2O): by name.", "Ignored 'a.xyz' (unknown formula): by name."}},
           Case{{{"/v/a.xyz", "other", 1, "x"}}, {0, 1}, {"Ignored 'a.xyz' (unknown formula): x."}},
           Case{{{"b.xyz", "other", std::numeric_limits<double>::quiet_NaN(), ""}}, {0, 1, 2}, {}},
       }) {
    const Filtered filtered = filter(verdicts);
    EXPECT_EQ(filtered.kept, kept);
    EXPECT_EQ(notes_of(filtered), notes);
    EXPECT_EQ(filtered.report.verdicts.size(), verdicts.size());
  }
}

TEST(RelevanceFilter, ChoosesTheRequestBeforeTrimmingIt) {
  struct Case {
    Json state;
    std::string request;
  };
  for (const auto& [state, request] : {
           Case{Json::object(), ""},
           Case{{{"project_brief", " "}, {"user_request", "iron"}}, ""},
           Case{{{"project_brief", ""}, {"source_query", "\u00A0iron\n"}, {"user_request", "x"}},
                "iron"},
           Case{{{"project_brief", nullptr}, {"source_query", 0}, {"user_request", 7}}, "7"},
       }) {
    EXPECT_EQ(request_in(state), request) << state;
  }
}

TEST(RelevanceFilter, KeepsEverythingWithoutAnAssessment) {
  const auto fails = []() -> RelevanceReport { throw 5; };
  EXPECT_EQ(drop_unrelated(ENTRIES, "iron", "other", fails).kept, (Places{0, 1, 2}));
  int asked = 0;
  const auto counts = [&asked] {
    ++asked;
    return RelevanceReport{{{"a.xyz", "other", 1, ""}}};
  };
  EXPECT_EQ(drop_unrelated(ENTRIES, "", "other", counts).kept, (Places{0, 1, 2}));
  EXPECT_TRUE(drop_unrelated({}, "iron", "other", counts).kept.empty());
  EXPECT_EQ(asked, 0);
}

}  // namespace
}  // namespace structure_ingest::internal
