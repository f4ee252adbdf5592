#include "structure_ingest/ingest/batch.hpp"

#include <stdexcept>
#include <system_error>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/discovery/hydrate.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "tests/fake_modules.hpp"
#include "tests/readers/ase_fixture.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

using Paths = std::vector<std::string>;

const char* const HELIUM_ATOM = "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nHe 0 0 0\n";

class Batch : public testing::Test {
 protected:
  std::vector<Json> ingest(const Paths& candidates, IngestOptions options) {
    options.collaborators = tests::fake_modules(calls);
    return ingest_structure_files(w / "proj", candidates, options);
  }
  std::vector<Json> ingest(const Paths& candidates) { return ingest(candidates, IngestOptions{}); }
  static Paths sources(const std::vector<Json>& entries) {
    Paths paths;
    for (const Json& entry : entries) paths.push_back(entry["source_path"].get<std::string>());
    return paths;
  }

  tests::ScratchFolder w;
  std::shared_ptr<tests::Calls> calls = std::make_shared<tests::Calls>();
};

TEST_F(Batch, MakesAnEntryForEachFile) {
  w.write("proj/he.xyz", HELIUM_ATOM);
  const std::vector<Json> entries = ingest({"he.xyz"});
  ASSERT_EQ(entries.size(), 1U);
  const std::string copy = "project_root/structures/ingested_he_005dfc29.xyz";
  const std::string source = w / "proj/he.xyz";
  const std::string expected =
      R"({"path": ")" + copy +
      R"(", "kind": "structure_file", "origin": "user_file", "discovery": "attachment", )"
      R"("format": "xyz", "formula": "He", "natoms": 1, "species": ["He"], "has_cell": true, )"
      R"("cell_ang": [[5.0, 0.0, 0.0], [0.0, 5.0, 0.0], [0.0, 0.0, 5.0]], "symbols": ["He"], )"
      R"("positions_ang": [[0.0, 0.0, 0.0]], "fractional": false, "source_path": ")" +
      source +
      R"(", "sha256": "aadcc5ba6368ac29", "warnings": [], "related_steps": ["SCF", "RELAXATION"], )"
      R"("metadata": {"xyz_path": ")" +
      copy + R"(", "provenance": "user_file", "discovery": "attachment", "source_file": ")" +
      source +
      R"(", "cell_provenance": "", "parser": "structure_ingest"}, )"
      R"("description": "User-provided structure (He, 1 atoms) parsed deterministically from )"
      R"(he.xyz. Coordinates in the canonical XYZ copy are exact; do NOT re-type or invent )"
      R"(coordinates.", "ok": true})";
  EXPECT_EQ(json_text(entries[0]), expected);
  ASSERT_EQ(calls->written.size(), 1U);
  EXPECT_EQ(calls->written[0].first, w / "proj/.diagnostics/ingested_structures.json");
  EXPECT_EQ(calls->written[0].second, (Json{{"version", 1}, {"structures", Json(entries)}}));
}

TEST_F(Batch, FailedFilesHaveEntriesToo) {
  const std::vector<Json> entries = ingest({"missing.xyz", w.write("bad.xyz", "x")});
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0]["sha256"], "");
  EXPECT_EQ(entries[1]["sha256"], "2d711642b726b044");
  EXPECT_EQ(entries[0]["path"], w / "proj/missing.xyz");
  EXPECT_EQ(entries[0]["metadata"]["xyz_path"], "");
  EXPECT_EQ(
      entries[0]["description"],
      "User-provided structure (, 0 atoms) parsed deterministically from missing.xyz. "
      "Coordinates in the canonical XYZ copy are exact; do NOT re-type or invent coordinates.");
  for (const Json& entry : entries) EXPECT_EQ(entry["ok"], false);
  EXPECT_EQ(calls->written.size(), 1U);
}

TEST_F(Batch, TheLimitCountsSkippedFiles) {
  Paths ten;
  for (int i = 0; i < 10; ++i) ten.push_back(std::to_string(i) + (i == 3 ? ".txt" : ".xyz"));
  EXPECT_EQ(ingest(ten).size(), 7U);
  EXPECT_EQ(ingest(ten, {.limit = 20}).size(), 9U);
  EXPECT_EQ(ingest(ten, {.limit = 0}).size(), 1U);
  EXPECT_EQ(ingest(ten, {.limit = -5}).size(), 1U);
  calls->written.clear();
  EXPECT_TRUE(ingest({"notes.txt"}).empty());
  EXPECT_TRUE(ingest({}).empty());
  EXPECT_TRUE(calls->written.empty());
}

TEST_F(Batch, ReportsItsProgress) {
  w.write("proj/a.xyz", HELIUM_ATOM);
  std::vector<std::string> told;
  const auto progress = [&told](std::size_t done, std::size_t total, const std::string& path) {
    told.push_back(std::to_string(done) + "/" + std::to_string(total) + " " + path);
  };
  ingest({"a.xyz", "no.txt", "a.xyz", "b.xyz", "c.xyz"},
         {.limit = 4, .batch = {.progress = progress}});
  EXPECT_EQ(told, (Paths{"0/4 " + (w / "proj/a.xyz"), "3/4 " + (w / "proj/b.xyz")}));
}

TEST_F(Batch, IngestsEachSourceOnce) {
  w.write("proj/a.xyz", HELIUM_ATOM);
  w.link("proj/link1.xyz", "a.xyz");
  w.link("proj/link2.xyz", "a.xyz");
  EXPECT_EQ(sources(ingest({"link1.xyz", "link2.xyz", "a.xyz", w / "proj/./A.XYZ", "b.xyz"})),
            (Paths{w / "proj/link1.xyz", w / "proj/b.xyz"}));
  const std::string copy = "project_root/structures/ingested_water_1a2b3c4d.xyz";
  w.link("proj/mine.xyz", "project_root/structures/ingested_2.xyz");  // the link's own name counts
  EXPECT_EQ(sources(ingest({copy, "x/" + copy, "x\\project_root\\structures\\ingested_1.xyz",
                            "project_root/structures/own.xyz", "mine.xyz"})),
            (Paths{w / "proj/project_root/structures/own.xyz", w / "proj/mine.xyz"}));
  // Two files with the same structure are two sources.
  w.write("proj/b.xyz", HELIUM_ATOM);
  const std::vector<Json> same = ingest({"a.xyz", "b.xyz"});
  ASSERT_EQ(same.size(), 2U);
  EXPECT_EQ(same[0]["path"], "project_root/structures/ingested_a_005dfc29.xyz");
  EXPECT_EQ(same[1]["path"], "project_root/structures/ingested_b_005dfc29.xyz");
}

TEST_F(Batch, LeavesOtherProjectsAloneUnlessAttached) {
  w.write("other/.strataquill_state.json", "");
  const std::string path = w.write("other/a.xyz", HELIUM_ATOM);
  const std::string identity = internal::source_identity(path);
  w.link("proj/link.xyz", path);
  EXPECT_TRUE(ingest({"link.xyz", path, w / "other/b.xyz"}).empty());
  for (const std::string kind : {"project_folder", "workspace_scan", ""}) {
    EXPECT_TRUE(ingest({path}, {.discovery_by_path = {{identity, kind}}}).empty()) << kind;
  }
  EXPECT_EQ(ingest({path}, {.discovery_by_path = {{identity, "attachment"}}}).size(), 1U);
  const std::string own = w.write("proj/a.xyz", HELIUM_ATOM);
  const std::vector<Json> entries =
      ingest({own}, {.discovery_by_path = {{internal::source_identity(own), "workspace_scan"}}});
  EXPECT_EQ(entries[0]["discovery"], "workspace_scan");
  EXPECT_EQ(entries[0]["metadata"]["discovery"], "workspace_scan");
}

TEST_F(Batch, ExpandsTheHomeDirectoryFirst) {
  const tests::Environment home("HOME", w.path());
  EXPECT_EQ(sources(ingest({"~/a.xyz", "~no such user/a.xyz"})),
            (Paths{w / "a.xyz", w / "proj/~no such user/a.xyz"}));
}

// Another user may have placed links where the copies go.
TEST_F(Batch, FollowsNoLink) {
  w.write("proj/a.xyz", HELIUM_ATOM);
  const std::string outside = w.write("outside/kept", "kept");
  const std::string copy = w / "proj/project_root/structures/ingested_a_005dfc29.xyz";
  w.link("proj/project_root/structures", w / "outside");
  w.link("proj/.diagnostics", w / "outside");
  const std::string warning = ingest({"a.xyz"}).at(0)["warnings"].at(0).get<std::string>();
  EXPECT_EQ(warning, "Could not write canonical XYZ copy: cannot write through a symbolic link " +
                         copy + ": Too many levels of symbolic links");
  EXPECT_EQ(tests::content_of(outside), "kept");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(w / "outside"), {}), 1);
}

// A writer that takes texts gets one from the records, without their JSON.
TEST_F(Batch, TheManifestIsTheSameInPieces) {
  w.write("proj/he.xyz", HELIUM_ATOM);
  w.write("proj/\xFF.xyz", "2\n\nH 0 0 1e-300\nO 1.25 -0.0 nan\n");
  w.write("proj/bad.xyz", "1\n\nHe 0 0\n");
  std::string many = "3000\n\n";
  for (int i = 0; i < 3000; ++i) many += "Fe 0 " + std::to_string(i) + " 0.1\n";
  w.write("proj/many.xyz", many);
  const Paths paths = {"he.xyz", "\xFF.xyz", "bad.xyz", "many.xyz", "missing.cif"};
  std::string text;
  IngestOptions options;
  options.collaborators.atomic_write_json = JsonFileWriter{
      .write_value = [](const std::string& path,
                        const Json&) { EXPECT_FALSE(path.ends_with(INGEST_MANIFEST_REL)); },
      .write_text =
          [&text](const std::string& path, const JsonFileWriter::GiveText& give) {
            EXPECT_EQ(path.substr(path.rfind("/.")), "/" + std::string(INGEST_MANIFEST_REL));
            give([&text](std::string_view piece) { text += piece; });
          },
      .indent = 1};
  EXPECT_EQ(ingest_batch(w / "proj", paths, options).entries.size(), 5U);
  const std::vector<Json> entries = ingest(paths);
  EXPECT_EQ(text, json_text(Json{{"version", 1}, {"structures", entries}}, 1));

  options.collaborators.atomic_write_json =
      JsonFileWriter{.write_value = nullptr,
                     .write_text = [](const std::string&, const JsonFileWriter::GiveText&) {
                       throw std::system_error(ENOSPC, std::generic_category(), "full");
                     }};
  EXPECT_EQ(ingest_batch(w / "proj", paths, options).manifest_error,
            "full: No space left on device");
}

// Copies take their names together, but whoever leads to one in the same batch finds it.
TEST_F(Batch, ALinkToANewCopyLeadsToIt) {
  w.write("proj/he.xyz", HELIUM_ATOM);
  w.link("proj/link.xyz", "project_root/structures/ingested_he_005dfc29.xyz");
  const std::vector<Json> entries = ingest({"he.xyz", "link.xyz"});
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1]["ok"], true);
  EXPECT_EQ(entries[1]["formula"], "He");
}

TEST_F(Batch, AKeptParserKeepsItsProcessAndNoCompanion) {
  if (tests::ase_python().empty()) GTEST_SKIP() << "/usr/bin/python3 cannot import ase.io";
  const std::string python = w.write_script(
      "bin/python", "echo >> " + w / "log" + "; exec " + tests::ase_python() + " \"$@\"");
  w.write("proj/POSCAR", tests::COPPER_POSCAR);
  w.write("proj/he.xyz", "1\n\nHe 0 0 0\n");
  StructureParser parser({.interpreters = {python}});
  for (const char* length : {"3", "4"}) {
    w.write("proj/scf.input", std::string("system.centralCellVectors = [[") + length +
                                  ", 0, 0], [0, 3, 0], [0, 0, 3]]\n"
                                  "calculation.control.lengthUnit = angstrom\n");
    const std::vector<Json> entries = ingest({"POSCAR", "he.xyz"}, {.batch = {.parser = &parser}});
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0]["formula"], "Cu") << entries[0]["warnings"];
    EXPECT_EQ(entries[1]["cell_ang"][0][0], std::stod(length));
  }
  Json state = {{"project_path", w / "proj"}};
  const HydrateOutcome outcome = hydrate(state, {.extra_paths = {w / "proj/POSCAR"},
                                                 .collaborators = tests::fake_modules(calls),
                                                 .batch = {.parser = &parser}});
  ASSERT_EQ(outcome.taken.size(), 1U);
  EXPECT_EQ(outcome.taken[0].record.formula, "Cu");
  EXPECT_EQ(tests::content_of(w / "log"), "\n");
}

TEST_F(Batch, SeveralProcessesGiveTheSameEntries) {
  if (tests::ase_python().empty()) GTEST_SKIP() << "/usr/bin/python3 cannot import ase.io";
  Paths candidates = {"missing.cif"};
  for (int i = 0; i < 12; ++i) {
    const std::string number = std::to_string(i);
    w.write("proj/POSCAR" + number, i == 5 ? "" : number + tests::COPPER_POSCAR);
    w.write("proj/" + number + ".xyz", HELIUM_ATOM);
    for (const std::string& name : {"POSCAR" + number, number + ".xyz", "./POSCAR" + number}) {
      candidates.push_back(name);
    }
  }
  const std::vector<Json> expected = ingest(candidates, {.limit = 100});
  EXPECT_EQ(expected.size(), 25U);
  EXPECT_EQ(expected.back()["ok"], true);
  StructureParser parser({.interpreters = {tests::ase_python()}, .processes = 3});
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(ingest(candidates, {.limit = 100, .batch = {.parser = &parser}}), expected);
  }
}

TEST_F(Batch, AFailureToWriteAffectsOnlyItsFile) {
  w.write("proj/a.xyz", HELIUM_ATOM);
  w.write("proj/project_root", "a file where a folder is needed");
  IngestOptions options{.collaborators = tests::fake_modules(calls)};
  options.collaborators.atomic_write_json = [](const std::string&, const Json&) {
    throw std::system_error(ENOSPC, std::generic_category());
  };
  const std::vector<Json> entries = ingest_structure_files(w / "proj", {"a.xyz"}, options);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0]["ok"], true);
  EXPECT_EQ(entries[0]["path"], w / "proj/a.xyz");
  const std::string warning = entries[0]["warnings"].at(0).get<std::string>();
  EXPECT_EQ(warning.find("Could not write canonical XYZ copy: "), 0U);
  EXPECT_NE(warning.find("Not a directory"), std::string::npos) << warning;

  // A copy that cannot take its name costs the copies beside it nothing.
  w.write("other/o.xyz", "1\n\nO 0 0 0\n");
  w.write("other/he.xyz", HELIUM_ATOM);
  w.make_folder("other/project_root/structures/ingested_he_005dfc29.xyz/in the way");
  const std::vector<Json> others =
      ingest_structure_files(w / "other", {"he.xyz", "o.xyz"}, options);
  EXPECT_EQ(others[0]["metadata"]["xyz_path"], "");
  EXPECT_EQ(others[0]["warnings"],
            Json::array({"Could not write canonical XYZ copy: cannot replace " +
                         (w / "other/project_root/structures/ingested_he_005dfc29.xyz") +
                         ": Is a directory"}));
  EXPECT_TRUE(std::filesystem::exists(w / ("other/" + others[1]["path"].get<std::string>())));

  options.collaborators.atomic_write_json = [](const std::string&, const Json&) {
    throw std::logic_error("broken writer");
  };
  EXPECT_THROW(ingest_structure_files(w / "proj", {"a.xyz"}, options), std::logic_error);
  EXPECT_THROW(ingest({std::string("a\0.xyz", 6)}), std::invalid_argument);
  EXPECT_THROW(Collaborators(nullptr), std::invalid_argument);
}

}  // namespace
}  // namespace structure_ingest
