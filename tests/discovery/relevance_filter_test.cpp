#include "structure_ingest/discovery/relevance_filter.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/fake_modules.hpp"

namespace structure_ingest::internal {
namespace {

using Notes = std::vector<std::string>;

Json entry(const char* source_file, const char* path, const char* formula) {
  return {{"path", path}, {"formula", formula}, {"metadata", {{"source_file", source_file}}}};
}

const std::vector<Json> ENTRIES = {entry("/u/a.xyz", "copies/1.xyz", "H2O"),
                                   entry("/u/b.xyz", "copies/2.xyz", ""),
                                   Json{{"path", "/v/a.xyz"}}};

struct Filter : testing::Test {
  FilteredEntries filter(const Json& state, std::vector<RelevanceVerdict> verdicts) {
    Collaborators modules = tests::fake_modules(calls);
    modules.ROLE_UNRELATED = "other";
    modules.assess_structure_relevance = [this, verdicts](const std::vector<Json>&,
                                                          const std::string& request, const Json&) {
      calls->requests.push_back(request);
      return RelevanceReport{verdicts};
    };
    return drop_unrelated_structures(ENTRIES, state, modules);
  }
  std::shared_ptr<tests::Calls> calls = std::make_shared<tests::Calls>();
};

const Json ASKED = {{"user_request", "iron"}};

TEST_F(Filter, DropsWhatIsUnrelatedWithConfidence) {
  struct Case {
    std::vector<RelevanceVerdict> verdicts;
    Notes notes;
  };
  const std::string no_match = "): it does not match the requested material.";
  for (const auto& [verdicts, notes] : {
           Case{{}, {}},
           Case{{{"a.xyz", "other", 0.79, ""}, {"b.xyz", "related", 1.0, ""}}, {}},
           Case{{{"a.xyz", "other", 0.8, ""}},
                {"Ignored 'a.xyz' (H2O" + no_match, "Ignored 'a.xyz' (unknown formula" + no_match}},
           Case{{{"copies/2.xyz", "other", 1, "no iron in it"}},
                {"Ignored 'b.xyz' (unknown formula): no iron in it."}},
           Case{{{"b.xyz", "other", 0.9, "first"}, {"b.xyz", "other", 0.8, "last"}},
                {"Ignored 'b.xyz' (unknown formula): last."}},
           Case{{{"/v/a.xyz", "other", 1, "x"}}, {"Ignored 'a.xyz' (unknown formula): x."}},
           Case{{{"b.xyz", "other", std::numeric_limits<double>::quiet_NaN(), ""}}, {}},
       }) {
    const FilteredEntries result = filter(ASKED, verdicts);
    EXPECT_EQ(result.notes, notes);
    EXPECT_EQ(result.kept.size(), ENTRIES.size() - notes.size());
  }
  EXPECT_EQ(filter(ASKED, {{"b.xyz", "other", 1, ""}}).kept,
            (std::vector<Json>{ENTRIES[0], ENTRIES[2]}));
}

TEST_F(Filter, ChoosesTheRequestBeforeTrimmingIt) {
  struct Case {
    Json state;
    std::vector<std::string> requests;
  };
  for (const auto& [state, requests] : {
           Case{Json::object(), {}},
           Case{{{"project_brief", " "}, {"user_request", "iron"}}, {}},
           Case{{{"project_brief", ""}, {"source_query", "\u00A0iron\n"}, {"user_request", "x"}},
                {"iron"}},
           Case{{{"project_brief", nullptr}, {"source_query", 0}, {"user_request", 7}}, {"7"}},
       }) {
    calls->requests.clear();
    EXPECT_EQ(filter(state, {{"a.xyz", "other", 1, ""}}).kept.size(), requests.empty() ? 3U : 1U);
    EXPECT_EQ(calls->requests, requests);
  }
}

TEST_F(Filter, KeepsEverythingWithoutAnAssessor) {
  Collaborators modules = tests::fake_modules(calls);
  EXPECT_EQ(drop_unrelated_structures(ENTRIES, ASKED, modules).kept, ENTRIES);
  modules.assess_structure_relevance = [](const auto&, const auto&,
                                          const auto&) -> RelevanceReport { throw 5; };
  EXPECT_EQ(drop_unrelated_structures(ENTRIES, ASKED, modules).kept, ENTRIES);
}

}  // namespace
}  // namespace structure_ingest::internal
