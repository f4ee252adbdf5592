// The program on a terminal, with a pseudo-terminal in its place.
#include "apps/terminal.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "apps/progress.hpp"
#include "tests/scratch_folder.hpp"

namespace {

TEST(Terminal, BreaksLinesAtBlanks) {
  struct Case {
    const char* text;
    const char* lines;
  };
  for (const auto& [text, lines] : {
           Case{"", ""}, Case{"one two three", "one two\n  three"},
           Case{"/a/path/that/is/longer and", "/a/path/that/is/longer\n  and"},
           Case{"a /a/path/that/is/longer", "a\n  /a/path/that/is/longer"},
           Case{"ab  'c   d' e", "ab  'c\n  d' e"},
           Case{"\u00C5\u00C5\u00C5 \u00C5\u00C5\u00C5\u00C5 z",
                "\u00C5\u00C5\u00C5 \u00C5\u00C5\u00C5\u00C5\n  z"},
           Case{"\u6C34\u6C34 \u6C34\u6C34", "\u6C34\u6C34\n  \u6C34\u6C34"},  // two columns each
       }) {
    EXPECT_EQ(apps::wrapped(text, 2, 10), lines) << text;
  }
}

TEST(Terminal, ProgressFitsItsLine) {
  struct Case {
    std::size_t done;
    const char* path;
    double seconds;
    std::size_t width;
    const char* line;
  };
  for (const auto& [done, path, seconds, width, line] : {
           Case{0, "a.xyz", 1, 80, "0/10: a.xyz"},
           Case{5, "a\n\x1B[2J.xyz", 2.5, 80, "5/10, about 3 s left: a\\x0a\\x1b[2J.xyz"},
           Case{1, "a", 20, 80, "1/10, about 3 min left: a"},
           Case{1, "a", 1000, 80, "1/10, about 3 h left: a"},
           Case{0, "folder/name.xyz", 1, 17, "0/10: ...name.xyz"},
           Case{0, "\u6C34\u6C34\u6C34", 1, 11, "0/10: ...\u6C34"},
           Case{0, "folder/name.xyz", 1, 9, "0/10: "},
           Case{0, "folder/name.xyz", 1, 3, "0/1"},
       }) {
    EXPECT_EQ(apps::progress_line(done, 10, path, seconds, width), line);
  }
}

// A run with a slow Python, with standard error on each kind of terminal.
TEST(Terminal, ProgressIsShownOnATerminalOnly) {
  const tests::ScratchFolder w;
  w.write("a.cif", "");
  w.write("b\x1B[2J.xyz", "1\n\nHe 0 0 0\n");
  w.write("list", "a.cif\nb\x1B[2J.xyz\n");
  const std::string python = w.write("bin/python3", "#!/bin/sh\nsleep 0.7\nexit 1\n");
  std::filesystem::permissions(python, std::filesystem::perms::owner_all);
  const auto shown = [&](const std::string& terminal, const std::string& redirection) {
    const std::string parse = std::string("'") + STRUCTURE_INGEST_PROGRAM +
                              "' parse --files-from list >out " + redirection;
    const std::string command = "cd '" + w.path() +
                                "' && PATH=\"$PWD/bin:$PATH\" TERM=" + terminal +
                                " script -qec \"" + parse + "\" /dev/null </dev/null >typescript";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
    EXPECT_NE(tests::content_of(w / "out").find("He, 1 atom"), std::string::npos);
    return tests::content_of(w / "typescript");
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
    const std::string command = "cd '" + w.path() + "' && env -u NO_COLOR " + environment +
                                " script -qc \"'" + STRUCTURE_INGEST_PROGRAM + "' parse no.xyz" +
                                pipe + "\" /dev/null </dev/null >typescript";
    EXPECT_EQ(std::system(command.c_str()), 0);
    const std::string text = tests::content_of(w / "typescript");
    return text.substr(0, text.find('\r'));
  };
  EXPECT_EQ(printed("TERM=xterm", ""), "no.xyz: \x1b[31mnot parsed\x1b[0m");
  EXPECT_EQ(printed("TERM=xterm NO_COLOR=1", ""), "no.xyz: not parsed");
  EXPECT_EQ(printed("TERM=dumb", ""), "no.xyz: not parsed");
  EXPECT_EQ(printed("TERM=xterm", " | cat"), "no.xyz: not parsed");
}

}  // namespace
