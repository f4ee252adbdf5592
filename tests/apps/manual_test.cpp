// The manual page and the shell completion list the program's subcommands and options.
#include <algorithm>
#include <regex>
#include <set>
#include <sstream>

#include "tests/scratch_folder.hpp"

namespace {

using Words = std::set<std::string>;

std::string output_of(const std::string& command) {
  const tests::CommandResult result = tests::run(command);
  EXPECT_EQ(result.status, 0) << command;
  return result.output;
}

std::string help(const std::string& subcommand) {
  return output_of(STRUCTURE_INGEST_PROGRAM " " + subcommand + " --help");
}

/// The matches of a pattern's first group in `text`.
Words matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  Words found;
  for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
    found.insert(it->str(1));
  }
  return found;
}

/// The options and subcommands in the help, each at the beginning of a line.
Words options_of(const std::string& help) {
  return matches(help, "\n  (?:-.,)?(--[a-z-]+)");
}
Words subcommands() {
  const std::string text = help("");
  const std::size_t begin = text.find("Commands:");
  return matches(text.substr(begin, text.find("\n\n", begin) - begin), "\n  ([a-z]+) ");
}

/// The lines that a command prints with `words` in the place of WORDS.
Words offered(std::string command, const std::string& words) {
  return matches(output_of(command.replace(command.find(" WORDS") + 1, 5, words)), "([^\n]+)\n");
}

/// Bash's completions for the words of a command line, the last of which may be unfinished; in
/// parentheses the kind of names that are left to Bash itself.
Words completions(const std::string& words) {
  const std::string command =
      "bash -c 'set -eu; compopt() { COMPREPLY+=(\"($*)\"); }; "
      "source " STRUCTURE_INGEST_SOURCE_DIR
      "/tools/completion.bash; "
      "set +e; COMP_WORDS=(structure-ingest WORDS); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
      "_structure_ingest " STRUCTURE_INGEST_PROGRAM "; printf \"%s\\n\" \"${COMPREPLY[@]}\"'";
  return offered(command, words);
}

TEST(Help, FitsATerminalAndHasExamples) {
  EXPECT_EQ(output_of(STRUCTURE_INGEST_PROGRAM " hydrate --version"),
            output_of(STRUCTURE_INGEST_PROGRAM " --version"));
  Words commands = subcommands();
  EXPECT_EQ(commands.size(), 18U);
  commands.insert("");
  for (const std::string& command : commands) {
    const std::string text = help(command);
    EXPECT_NE(text.find("\nExamples:\n  structure-ingest " + command), std::string::npos);
    EXPECT_NE(text.find("\nExit status: 0 all well"), std::string::npos) << command;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST(Completion, OffersWhatTheHelpLists) {
  EXPECT_EQ(completions("\"\""), subcommands());
  EXPECT_EQ(completions("--v"), Words{"--version"});
  for (const std::string& subcommand : subcommands()) {
    const Words options = options_of(help(subcommand));
    EXPECT_TRUE(options.contains("--help") && options.contains("--version")) << subcommand;
    EXPECT_EQ(completions(subcommand + " --"), options) << subcommand;
  }
}

TEST(Completion, DependsOnThePosition) {
  const Words files = {"(-o default)"};
  const Words folders = {"(-o dirnames)"};
  const std::vector<std::pair<std::string, Words>> cases = {
      {"pa", {"parse"}},
      {"pars", {"parse"}},
      {"nonsense x", {}},
      {"parse \"\"", files},
      {"parse --j", {"--jobs", "--json"}},
      {"parse --json a.xyz b", files},
      {"parse -- --j", files},
      {"parse -- --project \"\"", files},
      {"ingest --project \"\"", folders},
      {"ingest --project = fol", folders},
      {"ingest --project =", folders},
      {"ingest --limit \"\"", {}},
      {"ingest --project parse a", files},
      {"hydrate --state \"\"", files},
      {"parse --files-from \"\"", files},
      {"trust --un", {"--untrusted"}},
      {"trust \"\"", folders},
      {"scan --json \"\"", folders},
  };
  for (const auto& [words, expected] : cases) EXPECT_EQ(completions(words), expected) << words;
}

Words zsh_completions(const std::string& words) {
  const std::string command =
      "zsh -fc '_files() { print -r -- \"(files $*)\" }; compset() { : }; compdef() { : }; "
      "compadd() { shift; print -rl -- \"$@\" }; "
      "source " STRUCTURE_INGEST_SOURCE_DIR
      "/tools/completion.zsh; "
      "words=(" STRUCTURE_INGEST_PROGRAM " WORDS); CURRENT=$#words; _structure_ingest || true'";
  return offered(command, words);
}
Words fish_completions(const std::string& line) {
  const std::string command =
      "cd " STRUCTURE_INGEST_SOURCE_DIR "/examples && PATH=\"" STRUCTURE_INGEST_BINARIES
      ":$PATH\" HOME=/nonexistent fish --no-config -c 'source " STRUCTURE_INGEST_SOURCE_DIR
      "/tools/completion.fish; complete -C \"structure-ingest WORDS\"'";
  return offered(command, line);
}

TEST(Completion, IsTheSameInOtherShells) {
  EXPECT_EQ(zsh_completions("\"\""), subcommands());
  EXPECT_EQ(fish_completions(""), subcommands());
  for (const std::string& subcommand : subcommands()) {
    const Words options = options_of(help(subcommand));
    EXPECT_EQ(fish_completions(subcommand + " --"), options) << subcommand;
    Words zsh = zsh_completions(subcommand + " --");
    std::erase_if(zsh, [](const std::string& option) { return option.size() == 2; });
    EXPECT_EQ(zsh, options) << subcommand;
  }
  const Words files = {"(files )"};
  const Words folders = {"(files -/)"};
  const std::vector<std::pair<std::string, Words>> cases = {
      {"parse \"\"", files},
      {"parse -- --j", files},
      {"list --project \"\"", folders},
      {"list --project=fol", folders},
      {"hydrate --limit \"\"", {}},
      {"hydrate --state \"\"", files},
      {"scan --json \"\"", folders},
  };
  for (const auto& [words, expected] : cases) EXPECT_EQ(zsh_completions(words), expected) << words;
  EXPECT_EQ(fish_completions("list --project "), (Words{"copper/", "iron_oxide/", "odd/"}));
  EXPECT_EQ(fish_completions("parse w"), Words{"water.xyz"});
  EXPECT_EQ(fish_completions("hydrate --limit "), Words{});
  EXPECT_EQ(fish_completions("scan c"), Words{"copper/"});
}

TEST(ManualPage, DescribesEverySubcommandWithItsOptions) {
  const std::string page =
      tests::content_of(STRUCTURE_INGEST_SOURCE_DIR "/docs/structure-ingest.1");
  EXPECT_EQ(matches(page, "\n\\.Ss ([^\n]+)"), subcommands());
  for (const std::string& subcommand : subcommands()) {
    const std::size_t begin = page.find("\n.Ss " + subcommand + "\n");
    ASSERT_NE(begin, std::string::npos) << subcommand;
    const std::size_t end = std::min(page.find("\n.Ss ", begin + 1), page.find("\n.Sh ", begin));
    const std::string section = page.substr(begin, end - begin);
    Words described = {"--help", "--version"};  // common to all
    for (const std::string& name : matches(section, "\n\\.It (?:Fl . , )?Fl -([a-z-]+)")) {
      described.insert("--" + name);
    }
    EXPECT_EQ(described, options_of(help(subcommand))) << subcommand;
  }
}

}  // namespace
