// What the transcripts of the program cannot show: runs at the same time, and terminals, with a
// pseudo-terminal in their place.
#include <thread>

#include "apps/progress.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/base/json.hpp"
#include "tests/scratch_folder.hpp"

namespace {

using structure_ingest::Json;

struct Program : testing::Test {
  /// What the program prints in the scratch folder.
  std::string run(const std::string& arguments) const {
    const tests::CommandResult result =
        tests::run("cd '" + w.path() + "' && '" STRUCTURE_INGEST_PROGRAM "' " + arguments);
    EXPECT_EQ(result.status, 0) << arguments;
    return result.output;
  }
  Json json_in(const std::string& path) {
    return structure_ingest::parse_json(tests::content_of(w / path));
  }
  tests::ScratchFolder w;
};

TEST_F(Program, TwoHydratesAtOnceLoseNothing) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    const std::string name = std::to_string(i) + ".xyz";
    w.write(name, "1\n\nHe 0 0 " + std::to_string(i) + "\n");
    threads.emplace_back([this, name] { run("hydrate --project p " + name); });
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

TEST(Terminal, BreaksLinesAtBlanks) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"one two three", "one two\n  three"},
      {"/a/path/that/is/longer and", "/a/path/that/is/longer\n  and"},
      {"a /a/path/that/is/longer", "a\n  /a/path/that/is/longer"},
      {"ab  'c   d' e", "ab  'c\n  d' e"},
      {"\u00C5\u00C5\u00C5 \u00C5\u00C5\u00C5\u00C5 z",
       "\u00C5\u00C5\u00C5 \u00C5\u00C5\u00C5\u00C5\n  z"},
      {"\u6C34\u6C34 \u6C34\u6C34", "\u6C34\u6C34\n  \u6C34\u6C34"},  // two columns each
  };
  for (const auto& [text, lines] : cases) {
    EXPECT_EQ(apps::wrapped(text, 2, 10), lines) << text;
  }
}

TEST(Terminal, ProgressFitsItsLine) {
  const std::tuple<std::size_t, const char*, double, std::size_t, const char*> cases[] = {
      {0, "a.xyz", 1, 80, "0/10: a.xyz"},
      {5, "a\n\x1B[2J.xyz", 2.5, 80, "5/10, about 3 s left: a\\x0a\\x1b[2J.xyz"},
      {1, "a", 20, 80, "1/10, about 3 min left: a"},
      {1, "a", 1000, 80, "1/10, about 3 h left: a"},
      {0, "folder/name.xyz", 1, 17, "0/10: ...name.xyz"},
      {0, "\u6C34\u6C34\u6C34", 1, 11, "0/10: ...\u6C34"},
      {0, "folder/name.xyz", 1, 9, "0/10: "},
      {0, "folder/name.xyz", 1, 3, "0/1"},
  };
  for (const auto& [done, path, seconds, width, line] : cases) {
    EXPECT_EQ(apps::progress_line(done, 10, path, seconds, width), line);
  }
}

// A run with a slow Python, with standard error on each kind of terminal.
TEST(Terminal, ProgressIsShownOnATerminalOnly) {
  const tests::ScratchFolder w;
  w.write("a.cif", "");
  w.write("b\x1B[2J.xyz", "1\n\nHe 0 0 0\n");
  w.write("list", "a.cif\nb\x1B[2J.xyz\n");
  w.write_script("bin/python3", "sleep 0.7\nexit 1");
  const auto shown = [&](const std::string& terminal, const std::string& redirection) {
    const tests::CommandResult result =
        tests::run("cd '" + w.path() + "' && PATH=\"$PWD/bin:$PATH\" TERM=" + terminal +
                   " script -qec \"'" STRUCTURE_INGEST_PROGRAM "' parse --files-from list >out " +
                   redirection + "\" /dev/null </dev/null");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(tests::content_of(w / "out").find("He, 1 atom"), std::string::npos);
    return result.output;
  };
  const std::string drawn = shown("xterm", "");
  EXPECT_EQ(drawn.find("\r\x1b[K1/2, about "), 0U) << drawn;
  EXPECT_TRUE(drawn.ends_with(" left: b\\x1b[2J.xyz\r\x1b[K")) << drawn;
  EXPECT_EQ(shown("dumb", ""), "");
  EXPECT_EQ(shown("xterm", "2>err"), "");
  EXPECT_EQ(tests::content_of(w / "err"), "");
}

TEST(Terminal, ColoursAreForTerminalsOnly) {
  const tests::ScratchFolder w;
  w.write("no.xyz", "");
  const auto printed = [&](const std::string& environment, const std::string& pipe) {
    const std::string text =
        tests::run("cd '" + w.path() + "' && env -u NO_COLOR " + environment +
                   " script -qc \"'" STRUCTURE_INGEST_PROGRAM "' parse no.xyz" + pipe +
                   "\" /dev/null </dev/null")
            .output;
    return text.substr(0, text.find('\r'));
  };
  EXPECT_EQ(printed("TERM=xterm", ""), "no.xyz: \x1b[31mnot parsed\x1b[0m");
  EXPECT_EQ(printed("TERM=xterm NO_COLOR=1", ""), "no.xyz: not parsed");
  EXPECT_EQ(printed("TERM=dumb", ""), "no.xyz: not parsed");
  EXPECT_EQ(printed("TERM=xterm", " | cat"), "no.xyz: not parsed");
}

}  // namespace
