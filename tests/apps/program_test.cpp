// What the transcripts of the program cannot show.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "structure_ingest/base/json.hpp"
#include "tests/scratch_folder.hpp"

namespace {

using structure_ingest::Json;

struct Program : testing::Test {
  /// What the program prints in the scratch folder; `name` separates the outputs of concurrent
  /// runs.
  std::string run(const std::string& arguments, const std::string& name = "run") {
    const std::string out = w / (name + ".out");
    const std::string command = "cd '" + w.path() + "' && '" + STRUCTURE_INGEST_PROGRAM + "' " +
                                arguments + " >'" + out + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return tests::content_of(out);
  }
  Json json_in(const std::string& path) {
    return structure_ingest::parse_json(tests::content_of(w / path));
  }
  tests::ScratchFolder w;
};

TEST_F(Program, TwoHydratesAtOnceLoseNothing) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    const std::string name = "n" + std::to_string(i);
    w.write(name + ".xyz", "1\n\nHe 0 0 " + std::to_string(i) + "\n");
    threads.emplace_back([this, name] { run("hydrate --project p " + name + ".xyz", name); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(json_in("p/.strataquill_state.json")["structure_sources"].size(), 8U);
}

// A name that leaves no room for the suffix of its copy is shortened there.
TEST_F(Program, TakesAnyFileName) {
  const std::vector<std::string> names = {
      " a b .xyz",       "q'\"uote$HOME`id`.xyz",       "new\nline\r.xyz", "esc\x1B[2J\a.xyz",
      "c1\u009B31m.xyz", "no utf-8 \xFF\xC3\x9B.xyz",   "-dash.xyz",       "[x].xyz",
      "*?~.xyz",         std::string(251, 'n') + ".xyz"};
  std::string list;
  for (const std::string& name : names) {
    w.write(name, "1\n\nHe 0 0 0\n");
    list += name + std::string(1, '\0');
  }
  w.write("list", list);
  const Json entries = structure_ingest::parse_json(
      run("ingest --json --project p --limit 99 --null --files-from list"));
  ASSERT_EQ(entries.size(), names.size());
  EXPECT_EQ(json_in("p/.diagnostics/ingested_structures.json")["structures"], entries);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string copy = entries[i]["path"];
    EXPECT_EQ(entries[i]["ok"], true) << names[i];
    EXPECT_EQ(tests::content_of(w / ("p/" + copy)).substr(0, 16), "1\ningested from ") << names[i];
  }
  EXPECT_EQ(entries[5]["source_path"], w / ("no utf-8 \uFFFDFF\u00DB.xyz"));
  const std::string longest = entries.back()["path"];
  EXPECT_EQ(longest.substr(0, longest.rfind('_')),
            "project_root/structures/ingested_" + std::string(233, 'n'));
}

TEST_F(Program, HelpFitsATerminalAndHasExamples) {
  EXPECT_EQ(run("hydrate --version"), run("--version"));
  for (const std::string command :
       {"", "parse", "check", "ingest", "hydrate", "owner", "belongs", "trust", "scan", "list",
        "verify", "forget", "extract", "picture", "report", "serve"}) {
    const std::string help = run(command + " --help");
    EXPECT_NE(help.find("\nExamples:\n  structure-ingest " + command), std::string::npos);
    EXPECT_NE(help.find("\nExit status: 0 all well"), std::string::npos) << command;
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  }
}

}  // namespace
