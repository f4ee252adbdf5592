// What a user does with a project over months: files change, vanish and come back.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "structure_ingest/base/json.hpp"
#include "tests/scratch_folder.hpp"

namespace {

using structure_ingest::Json;

const char* const HELIUM = "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nHe 0 0 0\n";
const char* const NEON = "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nNe 0 0 0\n";

struct Upkeep : testing::Test {
  void SetUp() override {
    w.write("t/a.xyz", HELIUM);
    w.write("t/bad.xyz", "x");
  }
  /// The exit status of a command line in the scratch folder; what it prints is in `out`.
  int run(const std::string& arguments) {
    const std::string command = "cd '" + w.path() + "' && XDG_CONFIG_HOME='" + (w / "config") +
                                "' '" + STRUCTURE_INGEST_PROGRAM + "' " + arguments + " >out 2>&1";
    const int status = WEXITSTATUS(std::system(command.c_str()));
    out = tests::content_of(w / "out");
    for (std::size_t at = 0; (at = out.find(w.path(), at)) != std::string::npos;) {
      out.replace(at, w.path().size(), "W");
    }
    return status;
  }
  Json state() const {
    return structure_ingest::parse_json(tests::content_of(w / "p/.strataquill_state.json"));
  }
  /// The first lines of the paragraphs of `out`, each with its end.
  std::string headings() const {
    std::string lines;
    for (std::size_t at = 0; at < out.size();) {
      const std::size_t end = out.find('\n', at) + 1;
      if (out[at] != ' ') lines += out.substr(at, end - at);
      at = end;
    }
    return lines;
  }
  tests::ScratchFolder w;
  std::string out;
};

TEST_F(Upkeep, SaysOfEachPathWhatBecameOfIt) {
  w.write("other/.strataquill_state.json", "{}");
  w.write("other/o.xyz", HELIUM);
  w.link("t/link.xyz", "a.xyz");
  w.write("t/A.xyz", NEON);
  const std::string paths =
      "t/a.xyz t/bad.xyz notes.txt ./t/../t/a.xyz t/link.xyz t/A.xyz other/o.xyz "
      "x/project_root/structures/ingested_x.xyz t/missing.xyz";
  EXPECT_EQ(run("ingest --project p --limit 8 " + paths), 1);
  EXPECT_EQ(headings(),
            "taken   W/t/a.xyz\nfailed  W/t/bad.xyz\n"
            "skipped  W/notes.txt\nskipped  W/t/a.xyz\nskipped  W/t/link.xyz\n"
            "skipped  W/t/A.xyz\nskipped  W/other/o.xyz\n"
            "skipped  W/x/project_root/structures/ingested_x.xyz\nskipped  W/t/missing.xyz\n");
  // Rows are broken by the width of the real path.
  std::string words = out;
  for (std::size_t at = 0; (at = words.find("\n           ", at)) != std::string::npos;) {
    words.replace(at, 12, " ");
  }
  for (const char* reason :
       {"skipped  W/notes.txt\n  reason   Its name is none of a structure file: *.xyz, *.extxyz, "
        "*.cif, *.vasp, *.poscar, POSCAR*, CONTCAR*.\n",
        "skipped  W/t/a.xyz\n  reason   It was given before.\n",
        "skipped  W/t/link.xyz\n  reason   It is the same file as 'W/t/a.xyz'.\n",
        "skipped  W/t/A.xyz\n  reason   It counts as 'W/t/a.xyz': links and letter case make no "
        "difference.\n",
        "  reason   It belongs to another project, 'W/other'.\n",
        "  reason   It is a project's own copy of a structure.\n",
        "  reason   Only the first 8 files are looked at; a larger limit takes more.\n"}) {
    EXPECT_NE(words.find(reason), std::string::npos) << reason << "\nin\n" << words;
  }
  // A file that is named is taken out of another project, too.
  EXPECT_EQ(run("hydrate --project p other/o.xyz t/a.xyz notes.txt"), 0);
  EXPECT_EQ(headings(), "taken   W/other/o.xyz\ntaken   W/t/a.xyz\nskipped  W/notes.txt\n");
  EXPECT_EQ(run("hydrate --project p t/a.xyz"), 0);
  EXPECT_EQ(out, "known    W/t/a.xyz\nNothing new.\n");
}

TEST_F(Upkeep, TellsHowManyScannedFilesWereLeftOut) {
  for (int i = 0; i < 5; ++i) w.write("ws/" + std::to_string(i) + ".xyz", HELIUM);
  w.write("state.json", "{\"project_path\": \"" + (w / "p") + "\", \"selected_workroot\": \"" +
                            (w / "ws") + "\"}");
  EXPECT_EQ(run("hydrate --state state.json --limit 2 t/a.xyz ws/3.xyz"), 0);
  EXPECT_EQ(headings(),
            "taken   W/t/a.xyz\ntaken   W/ws/3.xyz\n"
            "skipped  4 files that a scan found: Only the first 2 files are looked at; a larger "
            "limit takes "
            "more.\n");
  EXPECT_EQ(run("hydrate --state state.json --limit 99"), 0);
  EXPECT_EQ(headings(),
            "taken   W/ws/0.xyz\ntaken   W/ws/1.xyz\ntaken   W/ws/2.xyz\n"
            "taken   W/ws/4.xyz\nknown    W/ws/3.xyz\n");
}

TEST_F(Upkeep, DryRunsWriteNothing) {
  EXPECT_EQ(run("ingest --project p --dry-run t/a.xyz"), 0);
  EXPECT_EQ(headings(),
            "Dry run: nothing is written. What would become of the files:\ntaken   W/t/a.xyz\n");
  EXPECT_NE(out.find("\n  copy     project_root/structures/ingested_a_005dfc29.xyz\n"),
            std::string::npos);
  EXPECT_EQ(run("hydrate --project p --dry-run t/a.xyz t/bad.xyz"), 1);
  EXPECT_FALSE(std::filesystem::exists(w / "p"));

  EXPECT_EQ(run("hydrate --project p t/a.xyz"), 0);
  const Json before = state();
  const std::string copy = w / "p/project_root/structures/ingested_a_005dfc29.xyz";
  std::filesystem::remove(copy);
  w.write("t/a.xyz", NEON);
  EXPECT_EQ(run("hydrate --project p --dry-run --refresh t/a.xyz"), 0);
  EXPECT_EQ(run("forget --project p --dry-run --delete-copy a.xyz"), 0);
  EXPECT_EQ(state(), before);
  EXPECT_FALSE(std::filesystem::exists(copy));
}

TEST_F(Upkeep, RenewsAChangedSourceOnlyOnRequest) {
  EXPECT_EQ(run("hydrate --project p t/a.xyz t/bad.xyz"), 1);
  const Json before = state();
  w.write("t/a.xyz", NEON);
  EXPECT_EQ(run("hydrate --project p t/a.xyz"), 0);
  EXPECT_EQ(headings(), "changed  W/t/a.xyz\n");
  EXPECT_NE(out.find("Hydrate with refresh to take in"), std::string::npos) << out;
  EXPECT_EQ(state(), before);

  EXPECT_EQ(run("hydrate --project p --refresh t/a.xyz t/bad.xyz"), 0);
  EXPECT_EQ(headings(), "taken   W/t/a.xyz\nknown    W/t/bad.xyz\n");
  EXPECT_NE(
      out.find("\n  replaces He (1 atoms), project_root/structures/ingested_a_005dfc29.xyz\n"),
      std::string::npos)
      << out;
  EXPECT_EQ(state()["structure_sources"].size(), 2U);
  EXPECT_EQ(state()["structure_notes"],
            (Json{"Structure file could not be parsed: bad.xyz (XYZ file is too short to contain "
                  "atoms.)",
                  "User structure replaced: Ne (1 atoms) -> "
                  "project_root/structures/ingested_a_ddeeb570.xyz in place of He (1 atoms) -> "
                  "project_root/structures/ingested_a_005dfc29.xyz, since its source file has "
                  "changed.",
                  "User structure ingested deterministically: Ne (1 atoms) -> "
                  "project_root/structures/ingested_a_ddeeb570.xyz."}));
  EXPECT_EQ(run("hydrate --project p --refresh t/a.xyz"), 0);
  EXPECT_EQ(out, "known    W/t/a.xyz\nNothing new.\n");

  // What cannot be read, or is unrelated to the request, replaces nothing.
  const Json renewed = state();
  w.write("t/a.xyz", "broken");
  EXPECT_EQ(run("hydrate --project p --refresh t/a.xyz"), 0);
  EXPECT_EQ(headings(), "changed  W/t/a.xyz\n");
  std::filesystem::remove(w / "t/a.xyz");
  EXPECT_EQ(run("hydrate --project p --refresh t/a.xyz"), 0);
  EXPECT_EQ(headings(), "known    W/t/a.xyz\nNothing new.\n");
  EXPECT_NE(out.find("It cannot be read now: File does not exist."), std::string::npos) << out;
  Json asked = renewed;
  asked["user_request"] = "the band gap of neon (Ne)";
  w.write("p/.strataquill_state.json", structure_ingest::json_text(asked));
  w.write("t/a.xyz", "1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nAu 0 0 0\n");
  EXPECT_EQ(run("hydrate --project p --refresh t/a.xyz"), 0);
  EXPECT_EQ(headings(), "changed  W/t/a.xyz\n");
  EXPECT_NE(out.find("unrelated: "), std::string::npos) << out;
  EXPECT_EQ(state(), asked);

  // A source that could not be read when it was taken in comes to life.
  w.write("t/bad.xyz", NEON);
  EXPECT_EQ(run("hydrate --project p t/bad.xyz"), 0);
  EXPECT_NE(out.find("It could not be read when it was taken in, and can be now."),
            std::string::npos)
      << out;
  EXPECT_EQ(run("hydrate --project p --refresh t/bad.xyz"), 0);
  EXPECT_EQ(state()["structure_sources"][0]["ok"], true);
  EXPECT_EQ(state()["structure_sources"].size(), 2U);
}

TEST_F(Upkeep, ListsVerifiesAndForgets) {
  w.write("t/b/a.xyz", NEON);
  EXPECT_EQ(run("hydrate --project p t/a.xyz t/b/a.xyz t/bad.xyz"), 1);
  EXPECT_EQ(run("list --project p"), 0);
  EXPECT_EQ(headings().substr(0, 52), "FORMULA     ATOMS  CELL  FOUND  COPIED (UTC)      FI");
  EXPECT_NE(out.find("\nnot parsed      -  -     named  -                 1 error   W/t/bad.xyz"),
            std::string::npos)
      << out;
  EXPECT_TRUE(out.ends_with("  W/t/bad.xyz\n")) << out;
  EXPECT_EQ(run("verify --project p"), 0);
  EXPECT_EQ(headings(),
            "as it was  W/t/a.xyz\nas it was  W/t/b/a.xyz\nas it was  W/t/bad.xyz\n"
            "As taken in: 3 of 3 structures.\n");

  EXPECT_EQ(run("forget --project p a.xyz none.xyz"), 2);
  EXPECT_EQ(out,
            "structure-ingest: a.xyz: fits 2 structures: W/t/a.xyz "
            "(project_root/structures/ingested_a_005dfc29.xyz), W/t/b/a.xyz "
            "(project_root/structures/ingested_a_ddeeb570.xyz), give the path of the one that is "
            "meant; nothing was forgotten\n"
            "structure-ingest: none.xyz: no structure of that name in "
            "p/.strataquill_state.json; nothing was forgotten\n");
  EXPECT_EQ(state()["structure_sources"].size(), 3U);
  EXPECT_EQ(run("forget --project p ./t/a.xyz"), 0);
  EXPECT_EQ(run("forget --project p --delete-copy a.xyz bad.xyz"), 0);
  EXPECT_EQ(headings(), "forgotten  W/t/b/a.xyz\nforgotten  W/t/bad.xyz\n");
  EXPECT_EQ(state()["structure_sources"], Json::array());
  EXPECT_EQ(state()["structure_notes"], Json::array());
  EXPECT_TRUE(std::filesystem::exists(w / "p/project_root/structures/ingested_a_005dfc29.xyz"));
  EXPECT_FALSE(std::filesystem::exists(w / "p/project_root/structures/ingested_a_ddeeb570.xyz"));
  EXPECT_EQ(run("list --project p"), 0);
  EXPECT_EQ(out,
            "No structures.\nBesides, 1 copy of structures that the state does not have (see "
            "verify).\n");
  EXPECT_EQ(run("hydrate --project p t/a.xyz"), 0);
  EXPECT_EQ(headings(), "taken   W/t/a.xyz\n");

  // A project that was moved.
  w.write("p/own.xyz", NEON);
  EXPECT_EQ(run("hydrate --project p p/own.xyz"), 0);
  std::filesystem::rename(w / "p", w / "q");
  EXPECT_EQ(run("verify --project q"), 1);
  EXPECT_NE(out.find("it says that the project is W/p; if it was moved here"), std::string::npos)
      << out;
  EXPECT_NE(out.find("note     its source was moved with the project"), std::string::npos) << out;
  EXPECT_NE(out.find("As taken in: 2 of 2 structures.\n"), std::string::npos) << out;
  EXPECT_EQ(run("forget --project q own.xyz"), 2);
  EXPECT_EQ(run("list --project nowhere"), 2);
  EXPECT_EQ(out, "structure-ingest: nowhere: no such folder\n");
}

TEST_F(Upkeep, ShowsManyFilesInATable) {
  std::string paths = "t/bad.xyz";
  for (int i = 0; i < 10; ++i) paths += " t/a.xyz";
  EXPECT_EQ(run("parse --table " + paths), 1);
  EXPECT_EQ(out.substr(0, out.find("t/a.xyz", out.find("t/a.xyz") + 1)),
            "file       formula  atoms  a  b  c  alpha  beta  gamma  volume    density  space "
            "group  shortest  error\n"
            "t/bad.xyz                                                                         "
            "                XYZ file is too short to contain atoms.\n"
            "t/a.xyz    He           1  5  5  5     90    90     90     125  0.0531718  "
            "Pm-3m               5\n");
  EXPECT_NE(out.find("\n11 files: 10 read, 1 not\n"
                     "  error    1: XYZ file is too short to contain atoms\n"),
            std::string::npos)
      << out;
  w.write("t/a,\"b\".xyz", HELIUM);
  w.write("t/c\"d.xyz", HELIUM);
  EXPECT_EQ(run("parse --csv t/bad.xyz 't/a,\"b\".xyz' 't/c\"d.xyz'"), 1);
  EXPECT_EQ(out,
            "file,formula,atoms,a,b,c,alpha,beta,gamma,volume,density,space group,shortest,error\n"
            "t/bad.xyz,,,,,,,,,,,,,XYZ file is too short to contain atoms.\n"
            "\"t/a,\"\"b\"\".xyz\",He,1,5,5,5,90,90,90,125,0.05317178934,Pm-3m,5,\n"
            "\"t/c\"\"d.xyz\",He,1,5,5,5,90,90,90,125,0.05317178934,Pm-3m,5,\n");
}

TEST_F(Upkeep, ShowsFramesAndBlocksAndExtractsThem) {
  w.write("f.xyz", "1\n\nHe 0 0 0\n1\nLattice=\"5 0 0 0 5 0 0 0 5\"\nNe 0 0 0\n");
  EXPECT_EQ(run("parse --frame all f.xyz"), 0);
  EXPECT_EQ(headings(), "f.xyz, frame 1: He, 1 atom\nf.xyz, frame 2: Ne, 1 atom\n");
  const std::string cif = tests::content_of(STRUCTURE_INGEST_SOURCE_DIR "/examples/rock_salt.cif");
  const std::string rest = cif.substr(cif.find('\n'));
  w.write("two.cif", "data_One" + rest + "data_two" + rest);
  EXPECT_EQ(run("parse --block one two.cif"), 0);
  EXPECT_EQ(headings(), "two.cif, block one: Cl4Na4, 8 atoms\n");
  EXPECT_EQ(run("parse --block three two.cif f.xyz"), 1);
  EXPECT_EQ(out,
            "two.cif, block three: not parsed\n"
            "  error    There is no data block 'three': the file has One, two.\n"
            "f.xyz, block three: not parsed\n  error    Only CIF files have data blocks.\n");

  EXPECT_EQ(run("extract f.xyz --frame last -o n.xyz"), 0);
  EXPECT_EQ(out, "n.xyz: Ne, 1 atom, the last frame of f.xyz\n");
  EXPECT_EQ(tests::content_of(w / "n.xyz"),
            "1\nLattice=\"5.0000000000 0.0000000000 0.0000000000 0.0000000000 5.0000000000 "
            "0.0000000000 0.0000000000 0.0000000000 5.0000000000\" "
            "Properties=species:S:1:pos:R:3 pbc=\"T T T\"\nNe 0.0000000000 0.0000000000 "
            "0.0000000000\n");
  EXPECT_EQ(run("extract f.xyz -o n.xyz"), 2);
  EXPECT_EQ(out, "structure-ingest: n.xyz: it exists already; --force replaces it\n");
  EXPECT_EQ(run("extract f.xyz --force -o n.xyz"), 0);
  EXPECT_EQ(run("extract f.xyz --frame 3 -o o.xyz"), 1);
  EXPECT_EQ(out, "structure-ingest: f.xyz: There is no frame 3: the last one is 2.\n");
  for (const char* wrong : {"0", "x", "all", "-1"}) {
    EXPECT_EQ(run("extract f.xyz -o o.xyz --frame=" + std::string(wrong)), 2) << wrong;
  }
  EXPECT_FALSE(std::filesystem::exists(w / "o.xyz"));
}

}  // namespace
