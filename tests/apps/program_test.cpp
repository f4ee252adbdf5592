// The program as a user sees it: arguments in, output and exit status out.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "tests/scratch_folder.hpp"

namespace {

using structure_ingest::Json;

const char* const NO_STRUCTURE =
    "\n  reason   Its name is none of a structure file: *.xyz, *.extxyz, *.cif, *.vasp,\n"
    "           *.poscar, POSCAR*, CONTCAR*.\n";

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

struct Program : testing::Test {
  void SetUp() override {
    w.write("he.xyz", "1\n\nHe 0 0 0\n");
    w.write("cell.xyz", "1\nLattice=\"2 0 0 0 3 0 0 0 4\"\nFe 0 0 nan\n");
    w.write("bad.xyz", "1\n\nQq\x1B[31m 0 0 0\n");
    w.make_folder("proj");
  }
  /// Runs the program in the scratch folder; `name` separates the outputs of concurrent runs.
  Outcome run(const std::string& arguments, const std::string& name = "run") {
    const std::string command = "cd '" + w.path() + "' && XDG_CONFIG_HOME='" + (w / "config") +
                                "' '" + STRUCTURE_INGEST_PROGRAM + "' " + arguments + " >" + name +
                                ".out 2>" + name + ".err";
    const int status = std::system(command.c_str());
    return {WEXITSTATUS(status), tests::content_of(w / (name + ".out")),
            tests::content_of(w / (name + ".err"))};
  }
  tests::ScratchFolder w;
};

TEST_F(Program, ParsesFilesForPeople) {
  const Outcome outcome = run("parse he.xyz cell.xyz bad.xyz");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out,
            "he.xyz: He, 1 atom\n"
            "  warning  No cell/lattice information in this XYZ file. A periodic QELDA\n"
            "           calculation needs domain.latvec: confirm the cell with the user or\n"
            "           treat the system as a molecule in a vacuum box.\n"
            "cell.xyz: Fe, 1 atom\n"
            "  cell     a = 2, b = 3, c = 4 \u00C5\n"
            "           alpha = 90\u00B0, beta = 90\u00B0, gamma = 90\u00B0\n"
            "           from the file itself\n"
            "  volume   24 \u00C5\u00B3\n"
            "  density  3.864 g/cm\u00B3\n"
            "  caution  non_finite_coordinates: 1 atom of 1 has a coordinate that is no\n"
            "           finite number, the first atom 0 (Fe).\n"
            "bad.xyz: not parsed\n"
            "  error    Unknown element symbol: 'Qq\\x1b[31m'\n");
  EXPECT_EQ(run("parse --no-check cell.xyz").out.find("caution"), std::string::npos);
  EXPECT_EQ(run("parse missing.xyz").out,
            "missing.xyz: not parsed\n  error    File does not exist.\n");
}

TEST_F(Program, ChecksFiles) {
  w.write("two.xyz", "1\n\nHe 0 0 0\n1\n\nHe 0 0 1\n");
  w.write("list", "two.xyz\nmissing.xyz\n");
  const Outcome outcome = run("check cell.xyz --files-from list");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out,
            "cell.xyz: Fe, 1 atom\n"
            "  cell     a = 2, b = 3, c = 4 \u00C5\n"
            "           alpha = 90\u00B0, beta = 90\u00B0, gamma = 90\u00B0\n"
            "           from the file itself\n"
            "  volume   24 \u00C5\u00B3\n"
            "  density  3.864 g/cm\u00B3\n"
            "  error    non_finite_coordinates: 1 atom of 1 has a coordinate that is no\n"
            "           finite number, the first atom 0 (Fe).\n"
            "two.xyz: He, 1 atom\n"
            "  warning  several_frames: The file has 2 frames; the record holds the first.\n"
            "  note     no_cell: The record has no cell: it is a molecule, or its cell is not\n"
            "           in the file.\n"
            "missing.xyz: not parsed\n"
            "  error    not_read: The file gave no structure: File does not exist.\n"
            "  listed   list:2\n");
  EXPECT_EQ(run("check two.xyz he.xyz").status, 0);

  const Outcome json = run("check --json two.xyz");
  EXPECT_EQ(json.status, 0);
  EXPECT_EQ(structure_ingest::parse_json(json.out), Json::parse(R"({
      "path": "two.xyz", "ok": true, "format": "xyz", "formula": "He", "natoms": 1,
      "species": ["He"], "cell": null, "sha256": "4af958e96434e747", "warnings": [
        "No cell/lattice information in this XYZ file. A periodic QELDA calculation needs domain.latvec: confirm the cell with the user or treat the system as a molecule in a vacuum box."],
      "findings": [
        {"code": "several_frames", "severity": "warning",
         "message": "The file has 2 frames; the record holds the first.", "atoms": [],
         "source": "file"},
        {"code": "no_cell", "severity": "note",
         "message": "The record has no cell: it is a molecule, or its cell is not in the file.",
         "atoms": [], "source": "geometry"}]})"));

  EXPECT_EQ(run("check --explain overlapping_atoms").out,
            "overlapping_atoms: error or warning\n"
            "  found    Two atoms, periodic images included, are closer than half the sum of\n"
            "           their covalent radii; an error below 0.5 \u00C5.\n"
            "  means    Alternatives of a disordered structure that were all kept, copies on\n"
            "           the border of a cell, a wrong unit or wrong symmetry.\n"
            "  do       Look at the atoms that are named, and remove the ones that do not\n"
            "           belong.\n");
  const Outcome unknown = run("check --explain overlap");
  EXPECT_EQ(unknown.status, 2);
  EXPECT_TRUE(
      unknown.err.starts_with("structure-ingest: there is no finding 'overlap'; there are "
                              "not_read, fractional_without_cell, "))
      << unknown.err;
  EXPECT_EQ(run("check").status, 2);
}

// The lines about the cell of one atom: only quantities that follow from the file.
TEST_F(Program, ShowsDerivedQuantitiesOfACell) {
  struct Case {
    const char* lattice;
    const char* element;
    const char* lines;
  };
  const std::string right = "alpha = 90\u00B0, beta = 90\u00B0, gamma = 90\u00B0";
  const std::string from = "\n           from the file itself\n";
  for (const auto& [lattice, element, lines] : {
           // hexagonal, left-handed
           Case{"3.209 0 0 -1.6045 2.7790755 0 0 0 -5.211", "Mg",
                "a = 3.209, b = 3.209, c = 5.211 \u00C5\n"
                "           alpha = 90\u00B0, beta = 90\u00B0, gamma = 120\u00B0@"
                "  volume   46.472 \u00C5\u00B3\n  density  0.8685 g/cm\u00B3\n"},
           // no standard atomic weight
           Case{"3 0 0 0 3 0 0 0 3", "Tc",
                "a = 3, b = 3, c = 3 \u00C5\n           #@"
                "  volume   27 \u00C5\u00B3\n"},
           // coplanar, up to rounding
           Case{"1 2 3 4 5 6 7 8 9", "Fe",
                "a = 3.74166, b = 8.77496, c = 13.9284 \u00C5\n"
                "           alpha = 3.447\u00B0, beta = 16.38\u00B0, gamma = 12.933\u00B0@"
                "  volume   0 \u00C5\u00B3\n"},
           Case{"1 0 0 0 2 0 0 0 0", "Fe",
                "a = 1, b = 2, c = 0 \u00C5\n"
                "           alpha = undefined, beta = undefined, gamma = 90\u00B0@"
                "  volume   0 \u00C5\u00B3\n"},
           // too large for a double
           Case{"1e200 0 0 0 2e200 0 0 0 1e200", "Fe",
                "a = 1e+200, b = 2e+200, c = 1e+200 \u00C5\n           #@"},
           Case{"1 0 0 0 2 0 0 0 nan", "Fe", "not three vectors of three finite numbers@"},
           Case{"1 0 0 0 2 0 0 1e999 nan", "Fe", "not three vectors of three finite numbers@"},
       }) {
    w.write("c.xyz", std::string("1\nLattice=\"") + lattice + "\"\n" + element + " 0 0 0\n");
    std::string expected = std::string("c.xyz: ") + element + ", 1 atom\n  cell     " + lines;
    expected.replace(expected.find('@'), 1, from);
    if (const auto at = expected.find('#'); at != std::string::npos) expected.replace(at, 1, right);
    EXPECT_EQ(run("parse --no-check c.xyz").out, expected) << lattice;
  }
}

// The record quotes all of it, the terminal only the beginning.
TEST_F(Program, ShortensQuotesInWarnings) {
  const std::string count(2000000, '9');
  w.write("count.xyz", count + "\n\nHe 0 0 0\n");
  const Outcome shown = run("parse count.xyz");
  EXPECT_NE(shown.out.find("Unsupported atom count:\n           999"), std::string::npos);
  EXPECT_NE(shown.out.find("9...\n           (2000025 bytes)\n"), std::string::npos);
  EXPECT_LT(shown.out.size(), 5200U);
  EXPECT_NE(run("parse --json count.xyz").out.find(count), std::string::npos);
}

TEST_F(Program, ParsesFilesAsJsonLines) {
  w.write("odd\n\x1B\xFF.xyz", "");
  const Outcome outcome =
      run("parse --json -- cell.xyz \"$(printf 'odd\\n\\033\\377.xyz')\" '[x]' --json");
  EXPECT_EQ(outcome.status, 1);
  std::vector<Json> lines;
  for (std::size_t at = 0; at < outcome.out.size();) {
    const std::size_t end = outcome.out.find('\n', at);
    lines.push_back(structure_ingest::parse_json(outcome.out.substr(at, end - at)));
    at = end + 1;
  }
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0]["positions_ang"], Json::parse("[[0.0, 0.0, null]]"));
  EXPECT_EQ(lines[1]["source_path"],
            "odd\n\x1B\uFFFD"
            "FF.xyz");
  EXPECT_EQ(lines[2]["source_path"], "[x]");
  EXPECT_EQ(lines[3]["source_path"], "--json");
}

// Paths from arguments come before those from the list; each is passed byte for byte.
TEST_F(Program, ReadsPathsFromAList) {
  const std::string odd = " a\r\xFF.xyz";
  w.write(odd, "1\n\nHe 0 0 0\n");
  w.write("line\nfeed.xyz", "1\n\nHe 0 0 0\n");
  w.write("lines", "cell.xyz\n\n" + odd + "\n[x]");
  w.write("nuls", "line\nfeed.xyz" + std::string(1, '\0') + odd);
  const auto sources = [&](const std::string& arguments) {
    std::string names;
    std::istringstream lines(run("parse --json " + arguments).out);
    for (std::string line; std::getline(lines, line);) {
      const Json record = structure_ingest::parse_json(line);
      names += record["source_path"].get<std::string>() + (record["ok"].get<bool>() ? "|" : "!|");
    }
    return names;
  };
  EXPECT_EQ(sources("--files-from lines he.xyz"),
            "he.xyz|cell.xyz| a\r\uFFFD"
            "FF.xyz|[x]!|");
  EXPECT_EQ(sources("--files-from - <lines"),
            "cell.xyz| a\r\uFFFD"
            "FF.xyz|[x]!|");
  EXPECT_EQ(sources("--files-from nuls --null"),
            "line\nfeed.xyz| a\r\uFFFD"
            "FF.xyz|");
  EXPECT_EQ(sources("--files-from /dev/null"), "");
  EXPECT_EQ(run("parse --files-from lines | tail -n 3").out,
            "[x]: not parsed\n  error    File does not exist.\n  listed   lines:4\n");

  w.write("list", "he.xyz\n\ncell.xyz\n./proj/../cell.xyz\n");
  const Outcome ingest = run("ingest --project proj --json --limit 2 --files-from list");
  EXPECT_EQ(ingest.status, 0);
  EXPECT_EQ(ingest.err, "structure-ingest: " + (w / "cell.xyz") +
                            ": skipped: Only the first 2 files are looked at; a larger limit takes "
                            "more.\n");
  const Outcome hydrate = run("hydrate --project proj --json --files-from list");
  EXPECT_EQ(structure_ingest::parse_json(hydrate.out).size(), 2U);

  // A path that goes up from a link goes up from where the link leads.
  w.write("far/up.xyz", "1\n\nNe 0 0 0\n");
  w.make_folder("far/down");
  w.link("link", "far/down");
  w.write("home/mine.xyz", "1\n\nAr 0 0 0\n");
  w.write("list", "~/mine.xyz\nlink/../up.xyz\n");
  const Outcome odd_paths =
      run("--version >none && HOME='" + (w / "home") + "' '" STRUCTURE_INGEST_PROGRAM
          "' ingest --project proj --json --files-from list");
  EXPECT_EQ(odd_paths.status, 0) << odd_paths.err;
  const Json found = structure_ingest::parse_json(odd_paths.out);
  EXPECT_EQ(found[0]["source_path"], w / "home/mine.xyz");
  EXPECT_EQ(found[1]["source_path"], w / "far/up.xyz");
}

TEST_F(Program, IngestsIntoAProject) {
  const std::string kinds = structure_ingest::json_text(
      Json{{structure_ingest::internal::source_identity(w / "he.xyz"), "workspace_scan"}});
  w.write("kinds.json", kinds);
  const Outcome json = run("ingest --project proj --discovery kinds.json --json '" +
                           (w / "he.xyz") + "' missing.xyz --relative-to-project");
  EXPECT_EQ(json.status, 1);
  const Json entries = structure_ingest::parse_json(json.out);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0]["discovery"], "workspace_scan");
  EXPECT_EQ(entries[1]["source_path"], w / "proj/missing.xyz");
  EXPECT_EQ(structure_ingest::parse_json(
                tests::content_of(w / "proj/.diagnostics/ingested_structures.json"))["structures"],
            entries);
  EXPECT_EQ(run("ingest --project proj --limit 1 he.xyz missing.xyz").status, 0);
  const Outcome nothing = run("ingest --project proj --limit 1 notes.txt");
  EXPECT_EQ(nothing.status, 0);
  EXPECT_EQ(nothing.out, "skipped  " + (w / "notes.txt") + NO_STRUCTURE);
  EXPECT_EQ(run("ingest --project proj --files-from /dev/null").out, "Nothing to ingest.\n");
  // The path is the user's, though the project has a file of that name.
  w.write("proj/he.xyz", "1\n\nHe 0 0 0\n");
  const Outcome own = run("ingest --project proj he.xyz");
  EXPECT_EQ(own.out.find("taken   " + (w / "he.xyz") + "\n"), 0U);
  EXPECT_NE(own.out.find("\n  found    named or attached\n"), std::string::npos) << own.out;
  w.write("full/.diagnostics", "");
  for (const char* command : {"ingest", "hydrate"}) {
    const Outcome full = run(std::string(command) + " --project full " + (w / "he.xyz"));
    EXPECT_EQ(full.status, 3) << command;
    EXPECT_NE(full.err.find("/full/.diagnostics"), std::string::npos) << full.err;
  }
  w.write("file", "");
  EXPECT_EQ(run("ingest --project file he.xyz").status, 3);
  // A limit on the size of files ends no program by a signal.
  EXPECT_EQ(run("--version >none && (ulimit -f 0; '" STRUCTURE_INGEST_PROGRAM
                "' ingest --project tight he.xyz)")
                .status,
            3);
  w.write("blocked/project_root", "");
  const Outcome blocked = run("ingest --project blocked --limit 010 he.xyz");
  EXPECT_EQ(blocked.status, 3);
  EXPECT_NE(blocked.err.find("he.xyz: Could not write canonical XYZ copy: "), std::string::npos);
}

TEST_F(Program, HydratesAStateFile) {
  w.write("state.json", "{\"project_path\": \"" + (w / "proj") + "\", \"mine\": 0.1}");
  const Outcome outcome = run("hydrate --state state.json '" + (w / "cell.xyz") + "'");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_NE(outcome.out.find("\n  copy     project_root/structures/ingested_cell_"),
            std::string::npos)
      << outcome.out;
  const Json state = structure_ingest::parse_json(tests::content_of(w / "state.json"));
  EXPECT_EQ(state["mine"], 0.1);
  EXPECT_EQ(state["structure_sources"].size(), 1U);
  const auto written = std::filesystem::last_write_time(w / "state.json");
  EXPECT_EQ(run("hydrate --state state.json --json '" + (w / "cell.xyz") + "'").out, "[]\n");
  EXPECT_EQ(std::filesystem::last_write_time(w / "state.json"), written);

  EXPECT_EQ(run("hydrate --project ./fresh '" + (w / "bad.xyz") + "'").status, 1);
  const Json fresh =
      structure_ingest::parse_json(tests::content_of(w / "fresh/.strataquill_state.json"));
  EXPECT_EQ(fresh["project_path"], w / "fresh");
  EXPECT_EQ(fresh["structure_sources"].size(), 1U);
  // The folder of the state may be a link; at most eight files are considered.
  w.write("real/state.json", "{\"project_path\": \"" + (w / "proj") + "\"}");
  w.link("linked", "real");
  const std::string eight =
      "hydrate --state linked/state.json 1.xyz 2.cif 3.xyz 4.xyz 5.xyz 6.xyz "
      "7.xyz 8.xyz";
  EXPECT_EQ(run(eight).err, "");
  EXPECT_EQ(
      structure_ingest::parse_json(tests::content_of(w / "real/state.json"))["structure_sources"]
          .size(),
      8U);
  EXPECT_TRUE(
      run(eight + " 9.xyz")
          .out.ends_with(
              "skipped  " + (w / "9.xyz") +
              "\n  reason   Only the first 8 files are looked at; a larger limit takes more.\n"));
}

TEST_F(Program, PrintsTheOutcomeOfEachFile) {
  w.write("proj/.strataquill_state.json", R"({"project_path": ""})");
  const std::string arguments =
      "hydrate --no-check --project proj " + (w / "cell.xyz") + " notes.txt";
  const Outcome first = run(arguments);
  EXPECT_EQ(first.status, 0);
  const std::string skipped = "skipped  " + (w / "notes.txt") + NO_STRUCTURE;
  EXPECT_TRUE(
      first.out.ends_with("\n  found    named or attached\n"
                          "  kept     there is no request to judge it by\n" +
                          skipped))
      << first.out;
  EXPECT_EQ(run(arguments).out, "known    " + (w / "cell.xyz") + "\n" + skipped + "Nothing new.\n");
  w.write("cell.xyz", "1\n\nFe 0 0 1\n");
  EXPECT_EQ(run(arguments).out,
            "changed  " + (w / "cell.xyz") +
                "\n           It is not what it was when it was taken in. The state keeps the\n"
                "           structure that it has. Hydrate with refresh to take in what the file\n"
                "           gives now.\n" +
                skipped);
  w.write("state.json", structure_ingest::json_text(
                            Json{{"project_path", w / "proj"}, {"user_request", "bulk iron"}}));
  const Outcome judged =
      run("hydrate --state state.json " + (w / "cell.xyz") + " " + (w / "he.xyz"));
  EXPECT_EQ(judged.status, 0);
  EXPECT_TRUE(
      judged.out.ends_with("  kept     requested: the request is about iron\n"
                           "dropped  " +
                           (w / "he.xyz") +
                           "\n"
                           "  formula  He\n"
                           "  reason   the request is about iron, which 'cell.xyz' matches, and "
                           "this\n           structure shares no element with anything that it "
                           "names\n"))
      << judged.out;
}

TEST_F(Program, TwoHydratesAtOnceLoseNothing) {
  w.write("state.json", "{\"project_path\": \"" + (w / "proj") + "\"}");
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    const std::string name = "n" + std::to_string(i);
    const std::string file = w.write(name + ".xyz", "1\n\nHe 0 0 " + std::to_string(i) + "\n");
    threads.emplace_back([this, name, file] {
      EXPECT_EQ(run("hydrate --state state.json '" + file + "'", name).status, 0);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(
      structure_ingest::parse_json(tests::content_of(w / "state.json"))["structure_sources"].size(),
      8U);
}

std::string shell_quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

TEST_F(Program, AcceptsAnyFileNameAndEscapesItOnTheTerminal) {
  const std::vector<std::string> names = {" a b .xyz",       "q'\"uote$HOME`id`.xyz",
                                          "new\nline\r.xyz", "esc\x1B[2J\x1B]0;t\a.xyz",
                                          "c1\u009B31m.xyz", "no utf-8 \xFF\xC3\x9B.xyz",
                                          "-dash.xyz",       "[x].xyz",
                                          "*?~.xyz",         std::string(229, 'n') + ".xyz"};
  std::string arguments = "ingest --project proj --limit 99 --";
  for (const std::string& name : names) {
    w.write("named/" + name, "1\n\nHe 0 0 0\n");
    arguments += " " + shell_quoted(w / "named" + ("/" + name));
  }
  w.write("named/bad.xyz", "1\n\nQq\x1B]0;t\a\u009B 0 0 0\n");
  const Outcome outcome = run(arguments + " " + w.path() + "/named/bad.xyz");
  EXPECT_EQ(outcome.status, 1) << outcome.err;
  for (const std::string& text : {outcome.out, outcome.err}) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      const auto byte = static_cast<unsigned char>(text[i]);
      const bool is_c1 = byte == 0xC2 && static_cast<unsigned char>(text[i + 1]) < 0xA0;
      EXPECT_FALSE((byte < 0x20 && byte != '\n') || byte == 0x7F || is_c1) << text.substr(i, 20);
    }
    EXPECT_EQ(structure_ingest::internal::valid_utf8_prefix(text), text.size());
  }
  const Json manifest = structure_ingest::parse_json(
      tests::content_of(w / "proj/.diagnostics/ingested_structures.json"));
  ASSERT_EQ(manifest["structures"].size(), names.size() + 1);
  // A file name too long for the suffix of its copy is shortened.
  const Outcome longest = run("ingest --project proj --json " +
                              w.write(std::string(251, 'n') + ".xyz", "1\n\nHe 0 0 0\n"));
  EXPECT_EQ(longest.status, 0);
  const std::string copy = structure_ingest::parse_json(longest.out)[0]["path"].get<std::string>();
  EXPECT_EQ(copy.substr(0, copy.rfind('_')),
            "project_root/structures/ingested_" + std::string(233, 'n'));
  EXPECT_TRUE(std::filesystem::is_regular_file(w / "proj/" + copy));
  for (std::size_t i = 0; i < names.size(); ++i) {
    const Json& entry = manifest["structures"][i];
    EXPECT_EQ(entry["ok"], true) << names[i];
    EXPECT_EQ(entry["source_path"],
              structure_ingest::internal::utf8_text(w / "named" + ("/" + names[i])));
    EXPECT_TRUE(std::filesystem::is_regular_file(w / "proj/" + entry["path"].get<std::string>()));
  }
}

TEST_F(Program, AStateThatCannotBeReadIsLeftAlone) {
  for (const std::string& content :
       {std::string(), std::string(" \n"), std::string("{} x"), std::string("\xFF{}"),
        std::string("{\"a\": \"\xFF\"}"), std::string("\0", 1), std::string("{}\0{}", 5),
        std::string("[{}]"), std::string("{\"a\": 18446744073709551616}"),
        std::string("{\"a\": 1e999}"), "{\"a\": " + std::string(100000, '['),
        std::string(100000, '['),
        "{\"a\": " + std::string(501, '[') + std::string(501, ']') + "}"}) {
    w.write("state.json", content);
    const Outcome outcome = run("hydrate --state state.json he.xyz");
    EXPECT_EQ(outcome.status, 2) << content.substr(0, 30);
    EXPECT_EQ(outcome.err.find("structure-ingest: state.json:"), 0U) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(tests::content_of(w / "state.json"), content);
  }
  // The last value of a repeated key counts.
  w.write("state.json", R"({"project_path": "/else", "a": 1, "project_path": ")" + (w / "proj") +
                            R"(", "a": 2})");
  EXPECT_EQ(run("hydrate --state state.json " + (w / "he.xyz")).status, 0);
  const Json state = structure_ingest::parse_json(tests::content_of(w / "state.json"));
  EXPECT_EQ(state["project_path"], w / "proj");
  EXPECT_EQ(state["a"], 2);
  EXPECT_EQ(state["structure_sources"].size(), 1U);
}

TEST_F(Program, PrintsOwners) {
  w.write("other/.strataquill_state.json", "{}");
  EXPECT_EQ(run("owner other/a.xyz").out, (w / "other") + "\n");
  EXPECT_EQ(run("owner --stop-at other other/a.xyz").out, "");
  EXPECT_EQ(run("belongs other/a.xyz proj").out, "true\n");
  EXPECT_EQ(run("belongs proj/a.xyz proj").out, "false\n");
}

TEST_F(Program, ShowsAndChangesTrust) {
  w.make_folder("proj/sub");
  struct Case {
    const char* arguments;
    std::string out;
  };
  for (const auto& [arguments, out] : {
           Case{"trust", "unknown\n"},
           Case{"trust --untrusted proj", "untrusted\n"},
           Case{"trust --trusted proj/sub", "trusted\n"},
           Case{"trust proj/other", "untrusted\n"},
           Case{"trust --list",
                "untrusted  " + (w / "proj") + "\ntrusted  " + (w / "proj/sub") + "\n"},
           Case{"trust --forget proj", "unknown\n"},
           Case{"trust --trusted nowhere", ""},
       }) {
    EXPECT_EQ(run(arguments).out, out) << arguments;
  }
  w.write("config/structure_ingest/directory_trust.json", "[]");
  EXPECT_EQ(run("trust").status, 2);
  EXPECT_EQ(run("trust --forget proj").status, 2);
  std::filesystem::remove_all(w / "config");
  w.write("config", "no folder");
  EXPECT_EQ(run("trust").status, 2);
  EXPECT_EQ(run("trust --trusted proj").status, 3);
}

// A workspace with this project, one inside it and one beside it, swept as hydrate sweeps it.
TEST_F(Program, SweepsAWorkspace) {
  w.write("ws/proj/.strataquill_state.json", "{}");
  w.write("ws/proj/own.xyz", "1\n\nHe 0 0 1\n");
  w.write("ws/proj/nested/.strataquill/x", "");
  w.write("ws/proj/nested/n.xyz", "1\n\nHe 0 0 2\n");
  w.write("ws/other/.strataquill_workspace.json", "{}");
  w.write("ws/other/o.xyz", "1\n\nHe 0 0 3\n");
  w.write("ws/loose.xyz", "1\n\nHe 0 0 4\n");
  const std::string ws = w / "ws";
  const std::string found_in =
      "\n  found    by a scan of the project's folder or one above it\n  project  ";
  const std::string left = "\n           another project's: left alone\n";
  EXPECT_EQ(run("scan ws --project ws/proj").out,
            ws + "/loose.xyz" + found_in + "none\n" +                    //
                ws + "/other/o.xyz" + found_in + ws + "/other" + left +  //
                ws + "/proj/own.xyz" + found_in + ws + "/proj\n" +       //
                ws + "/proj/nested/n.xyz" + found_in + ws + "/proj/nested" + left);
  EXPECT_EQ(run("scan --json ws/other --project ws/proj").out,
            R"([{"path": ")" + ws + R"(/other/o.xyz", "discovery": "workspace_scan", "owner": ")" +
                ws + "/other\", \"taken\": false}]\n");
  w.write("free/f.xyz", "");
  EXPECT_EQ(run("scan --json free").out,
            R"([{"path": ")" + (w / "free/f.xyz") +
                "\", \"discovery\": \"project_folder\", \"owner\": null, \"taken\": true}]\n");
  EXPECT_EQ(run("scan --json proj").out, "[]\n");
  EXPECT_EQ(run("scan proj").out, "No structure files.\n");
  const Json state = {{"project_path", ws + "/proj"}, {"selected_workroot", ws}};
  const auto swept = [&] {
    w.write("state.json", structure_ingest::json_text(state));
    std::vector<std::string> found;
    for (const Json& entry :
         structure_ingest::parse_json(run("hydrate --state state.json --json").out)) {
      found.push_back(entry["discovery"].get<std::string>() + " " +
                      entry["source_path"].get<std::string>());
    }
    return found;
  };
  EXPECT_EQ(swept(), (std::vector<std::string>{"project_folder " + ws + "/loose.xyz",
                                               "project_folder " + ws + "/proj/own.xyz"}));
  run("trust --untrusted ws");
  EXPECT_EQ(swept(), std::vector<std::string>{});
}

TEST_F(Program, ReportsErrorsInOneLine) {
  w.write("nul.txt", std::string("he.xyz\n\na\0b", 11));
  w.write("list.json", "[]");
  w.write("null.json", "null");
  w.write("moved/.strataquill_state.json", R"({"project_path": "/else"})");
  w.write("long/.strataquill_state.json",
          "{\"project_path\": \"" + std::string(5000000, 'x') + "\"}");
  w.write("broken.json", "{\"a\": }");
  w.write("state.json", "{}");
  w.write("odd.json", "{\"project_path\": \"" + (w / "proj") + "\", \"attachments\": 5}");
  w.write("kinds.json", "{\"a\": 1}");
  struct Case {
    const char* arguments;
    int status;
    const char* message;
  };
  for (const auto& [arguments, status, message] : {
           Case{"", 2,
                "give a command: parse, check, ingest, hydrate, owner, belongs, trust, scan, list, "
                "verify, forget, extract, picture, report, serve "
                "(see 'structure-ingest --help')\n"},
           Case{"parse", 2,
                "PATH or --files-from is required (see 'structure-ingest parse --help')"},
           Case{"pares he.xyz", 2, "unknown command 'pares'; did you mean 'parse'? (see"},
           Case{"hyd", 2, "unknown command 'hyd'; did you mean 'hydrate'? (see"},
           Case{"help", 2, "unknown command 'help'; did you mean '--help'? (see"},
           Case{"he.xyz", 2, "unknown command 'he.xyz'; did you mean 'parse he.xyz'? (see"},
           Case{"nonsense", 2, "unknown command 'nonsense' (see"},
           Case{"parse --jsno", 2,
                "unknown option '--jsno'; did you mean '--json'? "
                "(see 'structure-ingest parse --help')\n"},
           Case{"ingest --projct=proj he.xyz", 2, "'--projct'; did you mean '--project'? (see"},
           Case{"parse --nonsense he.xyz", 2, "unknown option '--nonsense' (see"},
           Case{"parse -x he.xyz", 2, "unknown option '-x' (see"},
           Case{"--json parse he.xyz", 2, "option '--json' goes after 'parse' (see"},
           Case{"owner a b", 2, "unexpected argument 'b' (see"},
           Case{"trust --list --forget", 2, "--list excludes --forget (see"},
           Case{"parse --files-from", 2, "--files-from: 1 required FILE missing (see"},
           Case{"parse -0 he.xyz", 2, "--null requires --files-from (see"},
           Case{"parse --files-from nowhere", 2, "nowhere: No such file or directory\n"},
           Case{"parse --files-from proj", 2, "proj: Is a directory\n"},
           Case{"parse --files-from nul.txt", 2,
                "nul.txt:3: a NUL character; a list that is separated by it needs --null\n"},
           Case{"parse --files-from - <nul.txt", 2, "standard input:3: a NUL character"},
           Case{"ingest he.xyz", 2, "--project is required"},
           Case{"ingest --project proj --limit x he.xyz", 2, "--limit"},
           Case{"ingest --project proj --jobs 0 he.xyz", 2, "--jobs: 0 is not a number from 1 on"},
           Case{"hydrate --project proj --jobs 2x he.xyz", 2, "--jobs: 2x is not"},
           Case{"parse --jobs -1 he.xyz", 2, "--jobs"},
           Case{"ingest --project proj --discovery kinds.json he.xyz", 2, "kinds.json: "},
           Case{"hydrate he.xyz", 2, "--state or --project is required"},
           Case{"hydrate --state a --project b", 2, "--project"},
           Case{"ingest --project proj --discovery broken.json he.xyz", 2,
                "broken.json:1:7: syntax error"},
           Case{"ingest --project proj --discovery nowhere he.xyz", 2, "nowhere: no such file"},
           Case{"ingest --project proj --discovery list.json he.xyz", 2,
                "list.json: not a JSON object\n"},
           Case{"ingest --project proj --discovery proj he.xyz", 2, "Is a directory"},
           Case{"hydrate --state null.json", 2, "null.json: the state is not a JSON object"},
           Case{"hydrate --project moved he.xyz", 2,
                "its state says that its \"project_path\" is \"/else\""},
           Case{"hydrate --project long he.xyz", 2, "xxx... (5000"},
           Case{"hydrate --project odd$(printf '\\377') he.xyz", 2, "no path that is not UTF-8"},
           Case{"--help >/dev/full 2>run.err #", 3, "cannot write to standard output"},
           Case{"hydrate --state missing.json", 2, "missing.json: no such file"},
           Case{"parse --files-from /dev/zero", 2, "/dev/zero: too long for a list of paths"},
           Case{"scan ''", 2, "DIR: the name is empty"},
           Case{"scan he.xyz", 2, "he.xyz: not a directory\n"},
           Case{"hydrate --state /proc/self/fd/0 he.xyz <state.json", 3, ": cannot lock: "},
           Case{"ingest --project '' he.xyz", 2, "--project: the name of the folder is empty"},
           Case{"hydrate --state list.json", 2, "list.json: the state is not a JSON object"},
           Case{"hydrate --state broken.json", 2,
                "broken.json:1:7: the state is malformed: syntax error"},
           Case{"hydrate --state proj", 2, "Is a directory"},
           Case{"hydrate --state odd.json", 2, "nothing was taken in: a list is expected, not 5"},
           Case{"hydrate --project he.xyz", 3, "he.xyz"},
           Case{"parse he.xyz >/dev/full 2>run.err #", 3, "cannot write to standard output"},
       }) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, status) << arguments;
    EXPECT_EQ(outcome.err.find("structure-ingest: "), 0U) << outcome.err;
    EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_LT(outcome.err.size(), 5200U);
  }
  EXPECT_EQ(run("hydrate --version").out, run("--version").out);
}

TEST_F(Program, PrintsWhyAseCannotBeUsed) {
  w.write("a.cif", "data_a");
  w.write("b.cif", "data_b");
  w.write("broken/ase/__init__.py", "raise ImportError\n");
  for (const char* command : {"parse", "ingest --project p", "hydrate --project p"}) {
    const Outcome outcome =
        run("--version >run.version; (PATH=/usr/bin PYTHONPATH='" + (w / "broken") +
            "' exec '" STRUCTURE_INGEST_PROGRAM "' " + command + " a.cif he.xyz b.cif)");
    EXPECT_EQ(outcome.status, 1) << command;
    EXPECT_EQ(outcome.err,
              "structure-ingest: ASE cannot be used: /usr/bin/python3 could not load ASE: it "
              "ended with status 1\n")
        << command;
  }
}

// Otherwise the next file opened would get the number of the closed stream.
TEST_F(Program, OpensClosedStreamsOnTheNullDevice) {
  w.write("a.cif", "data_a");
  std::filesystem::permissions(
      w.write("bin/python3", "#!/bin/sh\nfor n in 0 1 2; do readlink /proc/$PPID/fd/$n; done >'" +
                                 (w / "seen") + "'\n"),
      std::filesystem::perms::owner_all);
  const Outcome outcome =
      run("--version >run.version; (PATH='" + (w / "bin") +
          "':$PATH exec '" STRUCTURE_INGEST_PROGRAM "' parse a.cif he.xyz <&- >&- 2>&-)");
  EXPECT_EQ(outcome.status, 3);  // the output is still lost
  EXPECT_EQ(tests::content_of(w / "seen"), "/dev/null\n/dev/null\n/dev/null\n");
}

TEST_F(Program, HelpFitsATerminalAndHasExamples) {
  for (const std::string command :
       {"", "parse", "ingest", "hydrate", "owner", "belongs", "trust", "scan", "list", "verify",
        "forget", "extract", "picture", "report", "serve"}) {
    const Outcome outcome = run(command + " --help");
    EXPECT_EQ(outcome.status, 0) << command;
    EXPECT_NE(outcome.out.find("\nExamples:\n  structure-ingest " + command), std::string::npos);
    EXPECT_NE(outcome.out.find("\nExit status: 0 all well"), std::string::npos) << command;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  }
}

}  // namespace
