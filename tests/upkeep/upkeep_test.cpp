// Listing, verifying and forgetting the structures of a project.
#include <system_error>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/discovery/hydrate.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/readers/read_structure.hpp"
#include "structure_ingest/upkeep/forget.hpp"
#include "structure_ingest/upkeep/list.hpp"
#include "structure_ingest/upkeep/verify.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

const char* const BOXED_HELIUM = "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nHe 0 0 0\n";
const char* const NEON = "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nNe 0 0 0\n";
const char* const CELL =
    "system.atomFile = c.xyz\ncalculation.control.lengthUnit = Angstrom\n"
    "system.centralCellVectors = [[5, 0, 0], [0, 5, 0], [0, 0, 5]]\n";
const std::string COPIES = "p/project_root/structures/";

struct Verify : testing::Test {
  void SetUp() override {
    w.make_folder("p");
    w.write("a.xyz", BOXED_HELIUM);
    w.write("bad.xyz", "x");
    w.write("c/c.xyz", "1\n\nAr 0 0 0\n");
    w.write("c/scf.input", CELL);
    state = {{"project_path", w / "p"}};
    hydrate(state, {.extra_paths = {w / "a.xyz", w / "bad.xyz", w / "c/c.xyz"}});
  }
  /// "a.xyz: source_gone! duplicate|": what is said of each structure, "!" being a problem.
  std::string found(const Json& with, const VerifyOptions& options = {}) {
    std::string text;
    for (const VerifiedStructure& each : verify_project(w / "p", with, options).structures) {
      const std::string& source = each.structure.source_file;
      text += std::filesystem::path(source.empty() ? each.structure.path : source).filename();
      for (const VerifyFinding& finding : each.findings) {
        text += " " + std::string(name_of(finding.code)) + (finding.is_problem ? "!" : "");
      }
      text += "|";
    }
    return text;
  }
  std::string copy(std::size_t place) const {
    return w / ("p/" + state["structure_sources"][place]["path"].get<std::string>());
  }
  tests::ScratchFolder w;
  Json state;
};

TEST_F(Verify, SaysWhatIsNotAsItWas) {
  EXPECT_EQ(found(state), "a.xyz|bad.xyz|c.xyz|");
  EXPECT_TRUE(verify_project(w / "p", state).is_as_it_was());
  const std::string he = copy(0);
  const auto nothing = [] {};
  const std::tuple<const char*, std::function<void()>, const char*> cases[] = {
      {"as it was", nothing, "a.xyz|bad.xyz|c.xyz|"},
      {"gone", [&] { std::filesystem::remove(w / "a.xyz"); }, "a.xyz source_gone!|bad.xyz|c.xyz|"},
      {"a folder", [&] { w.make_folder("a.xyz"); }, "a.xyz source_gone!|bad.xyz|c.xyz|"},
      {"another structure", [&] { w.write("a.xyz", NEON); },
       "a.xyz source_changed!|bad.xyz|c.xyz|"},
      {"broken", [&] { w.write("a.xyz", "x"); }, "a.xyz source_changed!|bad.xyz|c.xyz|"},
      {"mended", [&] { w.write("bad.xyz", NEON); }, "a.xyz|bad.xyz source_readable!|c.xyz|"},
      {"broken otherwise", [&] { w.write("bad.xyz", "y"); },
       "a.xyz|bad.xyz source_changed!|c.xyz|"},
      {"its cell", [&] { w.write("c/scf.input", ""); }, "a.xyz|bad.xyz|c.xyz structure_differs!|"},
      {"without a fingerprint",
       [&] {
         w.write("a.xyz", std::string(BOXED_HELIUM) + "\n");
         state["structure_sources"][0].erase("sha256");
       },
       "a.xyz|bad.xyz|c.xyz|"},
      {"no copy", [&] { std::filesystem::remove(he); }, "a.xyz copy_gone!|bad.xyz|c.xyz|"},
      {"a link",
       [&] {
         std::filesystem::rename(he, w / "elsewhere");
         std::filesystem::create_symlink(w / "elsewhere", he);
       },
       "a.xyz copy_gone!|bad.xyz|c.xyz|"},
      {"edited", [&] { std::filesystem::resize_file(he, 20); },
       "a.xyz copy_changed!|bad.xyz|c.xyz|"},
      {"other line ends",
       [&] {
         std::string text;
         for (const char c : tests::content_of(he)) {
           text += c == '\n' ? std::string("\r\n") : std::string(1, c);
         }
         std::filesystem::remove(he);
         w.write(std::filesystem::relative(he, w.path()).string(), text);
       },
       "a.xyz|bad.xyz|c.xyz|"},
  };
  for (const auto& [what, damage, expected] : cases) {
    std::filesystem::remove_all(w / "p");
    std::filesystem::remove_all(w / "a.xyz");
    SetUp();
    if (std::string_view(what) == "a folder") std::filesystem::remove(w / "a.xyz");
    damage();
    EXPECT_EQ(found(state), expected) << what;
  }
}

// The digests tell enough of a file whose structure depends on its bytes alone.
TEST_F(Verify, HasAseReadOnlyWhatTheDigestsDoNotTell) {
  const char* const copper = "Cu\n1\n4 0 0\n0 4 0\n0 0 4\nCu\n1\nDirect\n0 0 0\n";
  const char* const titled = "Cu\n1\n4 0 0\n0 4 0\n0 0 4\n1\nDirect\n0 0 0\n";
  int asked = 0;
  StructureParser parser = internal::parser_that_asks([&](const std::string& path) {
    ++asked;
    const bool is_bad = path.ends_with("bad.cif");
    return internal::AseAnswer{
        .failure = is_bad ? internal::AseAnswer::Failure::read : internal::AseAnswer::Failure::none,
        .labels = {{"Cu"}},
        .positions_ang = {{{0, 0, static_cast<double>(path.size())}}},
        .cell_ang = {{{4, 0, 0}, {0, 4, 0}, {0, 0, 4}}}};
  });
  const std::vector<std::string> files = {
      w.write("q/a.cif", "data_a"), w.write("q/POSCAR", copper), w.write("q/xx.vasp", titled),
      w.write("q/bad.cif", "no CIF"), w.write("q/short.vasp", "Cu\n")};
  std::filesystem::remove_all(w / "p/project_root");
  state = {{"project_path", w / "p"}};
  hydrate(state, {.extra_paths = files, .batch = {.parser = &parser}});
  const std::string well = "a.cif|POSCAR|xx.vasp|bad.cif|short.vasp|";
  Json& first = state["structure_sources"][0];
  const Json position = first["positions_ang"][0][0];
  const auto nothing = [] {};
  const std::tuple<const char*, std::function<void()>, int, std::string> cases[] = {
      {"as it was", nothing, 3, well},  // neither files that failed, nor one without elements
      {"another record", [&] { first["positions_ang"][0][0] = 1.0; }, 4, well},
      {"the record", [&] { first["positions_ang"][0][0] = position; }, 3, well},
      {"no record", [&] { first["symbols"] = Json::array(); }, 4, well},
      {"other bytes", [&] { w.write("q/POSCAR", std::string(copper) + "\n"); }, 5,
       "a.cif|POSCAR source_changed!|xx.vasp|bad.cif|short.vasp|"},
      {"gone", [&] { std::filesystem::remove(w / "q/xx.vasp"); }, 4,
       "a.cif|POSCAR source_changed!|xx.vasp source_gone!|bad.cif|short.vasp|"},
  };
  for (const auto& [what, change, expected, text] : cases) {
    change();
    asked = 0;
    EXPECT_EQ(found(state, {.parser = &parser}), text) << what;
    EXPECT_EQ(asked, expected) << what;
  }
  asked = 0;
  found(state, {.parser = &parser, .deep = true});
  EXPECT_EQ(asked, 4);
}

TEST_F(Verify, ReadsNoSourceThatItMayNot) {
  const auto not_c = [&](const std::string& path) { return path != w / "c/c.xyz"; };
  EXPECT_EQ(found(state, {.may_read = not_c}), "a.xyz|bad.xyz|c.xyz source_not_allowed!|");
  // That a file has several frames is known from the file alone.
  const std::string two = w.write("two.xyz", std::string(BOXED_HELIUM) + BOXED_HELIUM);
  hydrate(state, {.extra_paths = {two}});
  std::filesystem::remove(w / "p/.diagnostics/structure_findings.json");
  const auto findings = [&](const MayRead& may_read) {
    return list_structures(w / "p", state, {.check = true, .may_read = may_read})
        .structures[0]
        .findings->size();
  };
  EXPECT_EQ(findings(not_c), 1U);
  EXPECT_EQ(findings([&](const std::string& path) { return path != two; }), 0U);
}

TEST_F(Verify, ChecksThePartOfAListThatIsAskedFor) {
  std::string checked;
  const auto told = [&](std::size_t done, std::size_t total, const std::string& path) {
    checked += std::to_string(done) + "/" + std::to_string(total) + " " +
               std::filesystem::path(path).filename().string().substr(0, 10) + "|";
  };
  list_structures(w / "p", state,
                  {.check = true, .check_from = 1, .check_count = 1, .progress = told});
  EXPECT_EQ(checked, "1/3 bad.xyz|");
}

TEST_F(Verify, RemarksOnCopiesAndEntriesThatAreNotAlone) {
  const std::string same = w.write("same.xyz", BOXED_HELIUM);
  hydrate(state, {.extra_paths = {same}});
  state["structure_sources"].push_back(state["structure_sources"][1]);
  EXPECT_EQ(found(state), "same.xyz|a.xyz duplicate|bad.xyz|c.xyz|a.xyz duplicate|");
  EXPECT_TRUE(verify_project(w / "p", state).is_as_it_was());
  state["structure_sources"] = {5, {{"path", "../../a.xyz"}, {"ok", true}, {"natoms", "x"}}};
  EXPECT_EQ(found(state).substr(0, 46), "a.xyz no_copy!|ingested_a_005dfc29.xyz no_entr");
  w.write(COPIES + "ingested_x_00000000.xyz", BOXED_HELIUM);
  EXPECT_NE(found(state).find("ingested_x_00000000.xyz no_entry copy_changed!|"),
            std::string::npos);
  EXPECT_FALSE(verify_project(w / "p", state).is_as_it_was());
}

TEST_F(Verify, KnowsAProjectWithoutAState) {
  EXPECT_EQ(found(nullptr), "a.xyz|bad.xyz|c.xyz|");  // by the manifest
  w.write("p/.diagnostics/ingested_structures.json", "{");
  const ProjectListing listing = list_structures(w / "p");
  EXPECT_NE(listing.manifest_error.find("ingested_structures.json: "), std::string::npos);
  ASSERT_EQ(listing.structures.size(), 2U);  // by the copies
  EXPECT_EQ(listing.structures[0].formula, "He");
  EXPECT_TRUE(listing.structures[0].has_cell);
  EXPECT_EQ(listing.structures[0].source_file, "");
  EXPECT_TRUE(list_structures(w / "nowhere").structures.empty());
}

TEST_F(Verify, FindsSourcesThatMovedAndSuchWithOddNames) {
  hydrate(state, {.extra_paths = {w.write("p/in.xyz", NEON), w.write("no \xFF.xyz", NEON)}});
  EXPECT_EQ(found(state).find("gone"), std::string::npos) << found(state);
  const std::string old = w / "old";
  Json moved = state;
  Json& source = moved["structure_sources"][0]["metadata"]["source_file"];
  ASSERT_EQ(source, w / "p/in.xyz");
  source = old + "/in.xyz";
  EXPECT_EQ(found(moved).substr(0, 20), "in.xyz source_gone!|");
  EXPECT_EQ(found(moved, {.moved_from = old}).substr(0, 20), "in.xyz source_moved|");
}

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
  const std::string text = internal::read_file(w / ("p/" + copy));
  const std::string mine = std::string(INGESTED_DIRNAME) + "/ingested_mine.xyz";
  w.write("p/" + mine, text);
  EXPECT_EQ(delete_copy(w / "p", mine), CopyFate::changed);  // named by another
  w.write("p/" + copy, text + "\n");
  EXPECT_EQ(delete_copy(w / "p", copy), CopyFate::changed);
  std::filesystem::remove(w / ("p/" + copy));
  w.link("p/" + copy, w / ("p/" + mine));
  EXPECT_EQ(delete_copy(w / "p", copy), CopyFate::changed);
  std::filesystem::remove(w / ("p/" + copy));
  w.write("p/" + copy, text);
  EXPECT_EQ(delete_copy(w / "p", copy, true), CopyFate::deleted);
  EXPECT_EQ(delete_copy(w / "p", copy), CopyFate::deleted);
  EXPECT_EQ(delete_copy(w / "p", copy), CopyFate::absent);
  EXPECT_EQ(delete_copy(w / "1", copy), CopyFate::absent);  // which has no such folder
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
