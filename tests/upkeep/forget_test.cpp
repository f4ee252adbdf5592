#include "structure_ingest/upkeep/forget.hpp"

#include <system_error>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/discovery/hydrate.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

using Names = std::vector<std::string>;

struct Forget : testing::Test {
  void SetUp() override {
    w.make_folder("p");
    state = {{"project_path", w / "p"}, {"structure_notes", {"mine", "mine"}}};
    // Two have the same copy, and all lack a cell.
    hydrate(state, {.extra_paths = {w.write("1/a.xyz", "1\n\nHe 0 0 0\n"),
                                    w.write("2/a.xyz", "1\n\nHe 0 0 0\n"),
                                    w.write("b.xyz", "1\n\nNe 0 0 0\n")}});
  }
  /// The sources that are forgotten, or in brackets how many fit each unclear name.
  std::string forget(const Names& names, const ForgetOptions& options = {}) {
    outcome = forget_structures(state, names, options);
    std::string text;
    for (const ProjectStructure& structure : outcome.forgotten) {
      text += structure.source_file.substr(w.path().size()) + "|";
    }
    for (const UnclearName& unclear : outcome.unclear) {
      text += "(" + unclear.name + " " + std::to_string(unclear.fits.size()) + ")";
    }
    return text;
  }
  tests::ScratchFolder w;
  Json state;
  ForgetOutcome outcome;
};

TEST_F(Forget, KnowsAStructureByItsNames) {
  const std::string copy = state["structure_sources"][2]["path"].get<std::string>();
  const std::tuple<Names, std::string, std::string> cases[] = {
      {{w / "b.xyz"}, "", "/b.xyz|"},
      {{"b.xyz"}, "", "/b.xyz|"},
      {{copy}, "", "/b.xyz|"},
      {{std::filesystem::path(copy).filename()}, "", "/b.xyz|"},
      {{"./b.xyz"}, w.path(), "/b.xyz|"},
      {{"../b.xyz"}, w / "1", "/b.xyz|"},
      {{"1/a.xyz", "b.xyz"}, w.path(), "/1/a.xyz|/b.xyz|"},
      {{"b.xyz", w / "b.xyz"}, "", "/b.xyz|"},
      {{"a.xyz"}, w / "1", "(a.xyz 2)"},
      {{"b.xyz", "a.xyz", "c.xyz"}, "", "(a.xyz 2)(c.xyz 0)"},
      {{state["structure_sources"][0]["path"].get<std::string>()},
       "",
       "(" + state["structure_sources"][0]["path"].get<std::string>() + " 2)"},
      {{"./b.xyz"}, w / "1", "(./b.xyz 0)"},
      {{""}, "", "( 0)"},
      {{}, "", ""},
  };
  for (const auto& [names, folder, expected] : cases) {
    const Json before = state;
    EXPECT_EQ(forget(names, {.folder = folder, .dry_run = true}), expected);
    EXPECT_EQ(state, before);
  }
}

TEST_F(Forget, TakesOutTheNotesThatAreOnNoOtherEntry) {
  const Json notes = state["structure_notes"];
  ASSERT_EQ(notes.size(), 5U);  // two of the user's, two structures, one missing cell
  EXPECT_EQ(forget({w / "1/a.xyz"}), "/1/a.xyz|");
  EXPECT_EQ(state["structure_notes"], notes);  // they are on the other one, too
  EXPECT_EQ(outcome.copies, Names{});
  EXPECT_EQ(forget({"a.xyz"}), "/2/a.xyz|");
  EXPECT_EQ(outcome.notes, Names{notes[2].get<std::string>()});
  EXPECT_EQ(outcome.copies.size(), 1U);
  EXPECT_EQ(forget({"b.xyz"}), "/b.xyz|");
  EXPECT_EQ(state["structure_notes"], (Json{"mine", "mine"}));
  EXPECT_EQ(state["structure_sources"], Json::array());

  SetUp();
  Json& sources = state["structure_sources"];
  sources.insert(sources.begin() + 1, 5);            // no mapping
  sources.push_back(state["structure_sources"][3]);  // one that nothing tells from another
  EXPECT_EQ(forget({"b.xyz"}), "/b.xyz|/b.xyz|");
  EXPECT_EQ(sources.size(), 3U);
  // Notes on what a check found go with the last file of the name, whatever they quote.
  const std::string odd = "Finding on 'a.xyz' (warning, x): it says 'b.xyz' (here)";
  SetUp();
  state["structure_notes"] = {"Finding on 'b.xyz' (error, y): z", odd};
  EXPECT_EQ(forget({"b.xyz", w / "1/a.xyz"}), "/1/a.xyz|/b.xyz|");
  EXPECT_EQ(state["structure_notes"], Json{odd});
  EXPECT_EQ(forget({"a.xyz"}), "/2/a.xyz|");
  EXPECT_EQ(outcome.notes, Names{odd});

  SetUp();
  state["structure_notes"] = 5;
  EXPECT_THROW(forget({w / "1/a.xyz"}), std::invalid_argument);
  EXPECT_EQ(state["structure_sources"].size(), 3U);
}

TEST_F(Forget, DeletesNothingButCopies) {
  const std::string copy = state["structure_sources"][0]["path"].get<std::string>();
  EXPECT_TRUE(delete_copy(w / "p", copy));
  EXPECT_FALSE(delete_copy(w / "p", copy));
  EXPECT_FALSE(delete_copy(w / "1", copy));  // which has no such folder
  const std::string kept = w.write("ingested_kept.xyz", "kept");
  for (const char* path : {"", "/etc/passwd", "../ingested_kept.xyz", "project_root/structures",
                           "project_root/structures/own.xyz",
                           "project_root/structures/ingested_/../../../../ingested_kept.xyz"}) {
    EXPECT_THROW(delete_copy(w / "p", path), std::system_error) << path;
  }
  std::filesystem::rename(w / "p/project_root/structures", w / "moved");
  w.link("p/project_root/structures", w / "moved");
  const std::string other = state["structure_sources"][2]["path"].get<std::string>();
  EXPECT_THROW(delete_copy(w / "p", other), std::system_error);
  EXPECT_TRUE(
      std::filesystem::exists(w / ("moved/" + std::filesystem::path(other).filename().string())));
  EXPECT_TRUE(std::filesystem::exists(kept));
}

}  // namespace
}  // namespace structure_ingest
