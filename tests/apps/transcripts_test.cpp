// The program as a user sees it: each file under transcripts/ holds commands, which are run one
// after the other in one folder, and all that they print. The folder reads W there, rows are not
// broken to the width of a terminal, and `[N]` tells an exit status that is not 0.
#include <sstream>

#include "tests/scratch_folder.hpp"

namespace {

const std::filesystem::path FOLDER = STRUCTURE_INGEST_SOURCE_DIR "/tests/apps/transcripts";

std::vector<std::string> transcripts() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(FOLDER)) {
    names.push_back(entry.path().stem().string());
  }
  return names;
}

void replace_all(std::string& text, const std::string& part, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += by.size()) {
    text.replace(at, part.size(), by);
  }
}

class Transcript : public testing::TestWithParam<std::string> {
 protected:
  /// All that a command prints, and its exit status.
  std::string output_of(const std::string& command) const {
    const std::string home = folder / "home";
    const std::string script = folder.write("home/command", command);
    auto [output, status] =
        tests::run("cd '" + folder.path() + "' && HOME='" + home + "' XDG_CONFIG_HOME='" + home +
                   "/config' PATH=\"" STRUCTURE_INGEST_BINARIES
                   ":$PATH\" EXAMPLES='" STRUCTURE_INGEST_SOURCE_DIR "/examples' bash '" +
                   script + "' 2>&1");
    replace_all(output, folder.path(), "W");
    replace_all(output, "\n" + std::string(11, ' '), " ");
    if (!output.empty() && output.back() != '\n') output += "\n";
    return status == 0 ? output : output + "[" + std::to_string(status) + "]\n";
  }
  tests::ScratchFolder folder;
};

// Lines that begin with `#` are comments, and those with `>` go on with a command.
TEST_P(Transcript, IsWhatTheProgramPrints) {
  const std::string expected = tests::content_of(FOLDER / (GetParam() + ".console"));
  std::istringstream lines(expected);
  std::string got;
  std::string command;
  const auto run = [&] {
    if (!command.empty()) got += output_of(command);
    command.clear();
  };
  for (std::string line; std::getline(lines, line);) {
    const bool goes_on = line.starts_with("> ") && !command.empty();
    const bool begins = line.starts_with("$ ");
    if (!goes_on && !begins && !line.starts_with("# ")) continue;
    if (!goes_on) run();
    got += line + "\n";
    if (goes_on || begins) command += line.substr(2) + "\n";
  }
  run();
  EXPECT_EQ(got, expected);
}

INSTANTIATE_TEST_SUITE_P(Program, Transcript, testing::ValuesIn(transcripts()),
                         [](const auto& name) { return name.param; });

}  // namespace
