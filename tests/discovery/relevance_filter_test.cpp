#include "structure_ingest/discovery/relevance_filter.hpp"

#include <gtest/gtest.h>

#include <numeric>

#include <functional>
#include <limits>
#include <stdexcept>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/discovery/state_host.hpp"

namespace structure_ingest::internal {
namespace {

using Notes = std::vector<std::string>;
using Places = std::vector<std::size_t>;

using Assess = std::function<RelevanceReport()>;

/// Filters some entries of a state with this request.
RelevanceResult filter_with(const Json& request, std::size_t count,
                            const std::function<Assess(const std::string& request)>& ask) {
  const std::vector<Json> entries = {
      {{"metadata", {{"source_file", "/u/a.xyz"}}}, {"path", "copies/1.xyz"}, {"formula", "H2O"}},
      {{"metadata", {{"source_file", "b.xyz"}}}, {"path", "copies/2.xyz"}, {"formula", ""}},
      {{"metadata", nullptr}, {"path", "/v/a.xyz"}}};
  StateHost host;
  host.value = [&request](std::string_view key) {
    return key == "user_request" ? &request : nullptr;
  };
  host.entry = [&entries](std::size_t place) -> const Json& { return entries[place]; };
  host.assess = [&ask](const Places& /*places*/, const std::string& text) { return ask(text); };
  std::vector<std::size_t> places(count);
  std::iota(places.begin(), places.end(), std::size_t{0});
  return drop_unrelated(host, places, "other");
}

RelevanceResult filter(const std::vector<RelevanceVerdict>& verdicts) {
  return filter_with("iron", 3, [&verdicts](const std::string&) -> Assess {
    return [&verdicts] { return RelevanceReport{verdicts}; };
  });
}

Notes notes_of(const RelevanceResult& filtered) {
  Notes notes;
  for (const DroppedStructure& dropped : filtered.dropped) notes.push_back(note_on(dropped));
  return notes;
}

TEST(RelevanceFilter, DropsStructuresUnrelatedWithConfidence) {
  const std::string no_match = "): it does not match the requested material.";
  const std::tuple<std::vector<RelevanceVerdict>, Places, Notes> cases[] = {
      {{}, {0, 1, 2}, {}},
      {{{"a.xyz", "other", 0.79, ""}, {"b.xyz", "related", 1.0, ""}}, {0, 1, 2}, {}},
      {{{"a.xyz", "other", 0.8, ""}},
       {1},
       {"Ignored 'a.xyz' (H2O" + no_match, "Ignored 'a.xyz' (unknown formula" + no_match}},
      {{{"copies/2.xyz", "other", 1, "no iron in it"}},
       {0, 2},
       {"Ignored 'b.xyz' (unknown formula): no iron in it."}},
      {{{"b.xyz", "other", 0.9, "first"}, {"b.xyz", "other", 0.8, "last"}},
       {0, 2},
       {"Ignored 'b.xyz' (unknown formula): last."}},
      // The file name is looked up before the path, in any order of the verdicts.
      {{{"a.xyz", "other", 1, "by name"}, {"/v/a.xyz", "other", 1, "by path"}},
       {1},
       {"Ignored 'a.xyz' (H2O): by name.", "Ignored 'a.xyz' (unknown formula): by name."}},
      {{{"/v/a.xyz", "other", 1, "x"}}, {0, 1}, {"Ignored 'a.xyz' (unknown formula): x."}},
      {{{"b.xyz", "other", std::numeric_limits<double>::quiet_NaN(), ""}}, {0, 1, 2}, {}},
  };
  for (const auto& [verdicts, kept, notes] : cases) {
    const RelevanceResult filtered = filter(verdicts);
    EXPECT_EQ(filtered.kept, kept);
    EXPECT_EQ(notes_of(filtered), notes);
    EXPECT_EQ(filtered.report.verdicts.size(), verdicts.size());
  }
}

TEST(RelevanceFilter, ChoosesTheRequestBeforeTrimmingIt) {
  const std::pair<Json, std::string> cases[] = {
      {Json::object(), ""},
      {{{"project_brief", " "}, {"user_request", "iron"}}, ""},
      {{{"project_brief", ""}, {"source_query", "\u00A0iron\n"}, {"user_request", "x"}}, "iron"},
      {{{"project_brief", nullptr}, {"source_query", 0}, {"user_request", 7}}, "7"},
  };
  for (const auto& [state, request] : cases) {
    Json held = state;
    std::vector<Json> entries;
    const Collaborators modules([](const std::string&, const Json&) {});
    EXPECT_EQ(request_in(json_host(held, entries, modules, false)), request) << state;
  }
}

TEST(RelevanceFilter, KeepsEverythingWithoutAnAssessment) {
  const auto fails = [](const std::string&) -> Assess { throw 5; };
  EXPECT_EQ(filter_with("iron", 3, fails).kept, (Places{0, 1, 2}));
  int asked = 0;
  const auto counts = [&asked](const std::string&) -> Assess {
    ++asked;
    return [] { return RelevanceReport{{{"a.xyz", "other", 1, ""}}}; };
  };
  EXPECT_EQ(filter_with("", 3, counts).kept, (Places{0, 1, 2}));
  EXPECT_TRUE(filter_with("iron", 0, counts).kept.empty());
  EXPECT_EQ(asked, 0);
}

// What comes back from an assessor that did not fail must be readable.
TEST(RelevanceFilter, PassesOnTheFailureToReadAReport) {
  const auto unreadable = [](const std::string&) -> Assess {
    return []() -> RelevanceReport { throw std::length_error("no verdicts"); };
  };
  EXPECT_THROW(filter_with("iron", 3, unreadable), std::length_error);
}

TEST(RelevanceFilter, PassesOnAnInterruption) {
  const auto interrupted = [](const std::string&) -> Assess { throw Interruption(); };
  EXPECT_THROW(filter_with("iron", 3, interrupted), Interruption);
}

}  // namespace
}  // namespace structure_ingest::internal
