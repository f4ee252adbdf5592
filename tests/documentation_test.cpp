// The commands and the code in the documentation are correct.
#include "tests/scratch_folder.hpp"

namespace {

const std::string ROOT = STRUCTURE_INGEST_SOURCE_DIR;

/// The contents of the fenced blocks of one language.
std::vector<std::string> blocks(const std::string& text, const std::string& language) {
  std::vector<std::string> found;
  const std::string fence = "```" + language + "\n";
  for (std::size_t at = 0; (at = text.find(fence, at)) != std::string::npos;) {
    at += fence.size();
    const std::size_t end = text.find("```", at);
    found.push_back(text.substr(at, end - at));
    at = end;
  }
  return found;
}

std::vector<std::string> pages() {
  std::vector<std::string> pages = {ROOT + "/README.md", ROOT + "/CONTRIBUTING.md",
                                    ROOT + "/examples/README.md"};
  for (const auto& page : std::filesystem::directory_iterator(ROOT + "/docs")) {
    if (page.path().extension() == ".md") pages.push_back(page.path().string());
  }
  return pages;
}

/// What the commands use of the sources, with a build folder that is empty, and no trust list.
struct CopyOfSources {
  CopyOfSources() {
    for (const char* name : {"README.md", "docs", "examples"}) {
      std::filesystem::copy(ROOT + "/" + name, folder / name,
                            std::filesystem::copy_options::recursive);
    }
    folder.make_folder("build");
  }
  tests::ScratchFolder folder;
};

/// The output of a command that a user runs in the root of the sources.
std::string output_of(const std::string& command, const CopyOfSources& sources) {
  const std::string in_root = "cd '" + sources.folder.path() + "' && export XDG_CONFIG_HOME='" +
                              (sources.folder / "none") + "' PATH=\"" + STRUCTURE_INGEST_BINARIES +
                              ":$PATH\" && " + command + " 2>&1";
  return tests::run(in_root).output;
}

TEST(Documentation, CommandsPrintTheOutputShown) {
  const CopyOfSources sources;
  int commands = 0;
  for (const std::string& page : pages()) {
    for (const std::string& block : blocks(tests::content_of(page), "console")) {
      for (std::size_t at = 0; at < block.size();) {
        ASSERT_EQ(block.substr(at, 2), "$ ") << page << ": " << block;
        const std::size_t line_end = block.find('\n', at);
        const std::string command = block.substr(at + 2, line_end - at - 2);
        const std::size_t next = block.find("\n$ ", line_end);
        const std::size_t end = next == std::string::npos ? block.size() : next + 1;
        EXPECT_EQ(output_of(command, sources), block.substr(line_end + 1, end - line_end - 1))
            << command;
        ++commands;
        at = end;
      }
    }
  }
  EXPECT_GE(commands, 3);
}

// The examples are compiled by the build and run by the commands above.
TEST(Documentation, CodeMatchesTheExamples) {
  std::string examples;
  for (const char* file :
       {"examples/library_use.cpp", "examples/own_modules.cpp",
        "tests/consumers/find_package/CMakeLists.txt",
        "tests/consumers/add_subdirectory/CMakeLists.txt", "tests/consumers/pkg_config/Makefile"}) {
    examples += tests::content_of(ROOT + "/" + file);
  }
  int found = 0;
  for (const std::string& page : pages()) {
    for (const char* language : {"cpp", "cmake", "make"}) {
      for (const std::string& block : blocks(tests::content_of(page), language)) {
        EXPECT_NE(examples.find(block), std::string::npos) << page << ": " << block;
        ++found;
      }
    }
  }
  EXPECT_GE(found, 5);
}

TEST(Documentation, LinksHaveTargets) {
  int links = 0;
  for (const std::string& page : pages()) {
    const std::string text = tests::content_of(page);
    for (std::size_t at = 0; (at = text.find("](", at)) != std::string::npos;) {
      at += 2;
      const std::string target = text.substr(at, text.find_first_of(")#", at) - at);
      const bool is_code = target.find_first_of(" &") != std::string::npos;
      if (is_code || target.find("://") != std::string::npos) continue;
      ++links;
      EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(page).parent_path() / target))
          << page << ": " << target;
    }
  }
  EXPECT_GE(links, 10);
}

}  // namespace
