// Folders are layers: an include may only point to the same layer or to a lower one.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

// The layers from the lowest to the highest, and what each may include besides itself.
const std::vector<std::pair<std::string, std::set<std::string>>> LAYERS = {
    {"structure_ingest/base/fast", {}},
    {"structure_ingest/base", {"structure_ingest/base/fast"}},
    {"structure_ingest/contracts", {"structure_ingest/base"}},
    {"structure_ingest/record", {"structure_ingest/contracts", "structure_ingest/base"}},
    {"structure_ingest/readers",
     {"structure_ingest/record", "structure_ingest/contracts", "structure_ingest/base",
      "structure_ingest/base/fast"}},
    {"structure_ingest/check",
     {"structure_ingest/readers", "structure_ingest/record", "structure_ingest/contracts",
      "structure_ingest/base", "structure_ingest/base/fast"}},
    {"structure_ingest/picture",
     {"structure_ingest/check", "structure_ingest/record", "structure_ingest/base"}},
    {"structure_ingest/project", {"structure_ingest/base"}},
    {"structure_ingest/ingest",
     {"structure_ingest/check", "structure_ingest/readers", "structure_ingest/project",
      "structure_ingest/record", "structure_ingest/contracts", "structure_ingest/base",
      "structure_ingest/base/fast"}},
    {"structure_ingest/discovery",
     {"structure_ingest/ingest", "structure_ingest/check", "structure_ingest/readers",
      "structure_ingest/project", "structure_ingest/record", "structure_ingest/contracts",
      "structure_ingest/base"}},
    {"structure_ingest/upkeep",
     {"structure_ingest/discovery", "structure_ingest/ingest", "structure_ingest/check",
      "structure_ingest/readers", "structure_ingest/record", "structure_ingest/base"}},
    {"structure_ingest",
     {"structure_ingest/upkeep", "structure_ingest/discovery", "structure_ingest/ingest",
      "structure_ingest/picture", "structure_ingest/check", "structure_ingest/readers",
      "structure_ingest/project", "structure_ingest/record", "structure_ingest/contracts",
      "structure_ingest/base"}},
    {"collaborators/agent_modules/relevance",
     {"structure_ingest/contracts", "structure_ingest/base", "structure_ingest/record"}},
    {"collaborators/agent_modules",
     {"collaborators/agent_modules/relevance", "structure_ingest/contracts",
      "structure_ingest/base", "structure_ingest/readers", "structure_ingest/record"}},
    {"apps/report",
     {"structure_ingest", "structure_ingest/picture", "structure_ingest/check",
      "structure_ingest/record", "structure_ingest/base"}},
    {"server",
     {"structure_ingest/upkeep", "structure_ingest/discovery", "structure_ingest/ingest",
      "structure_ingest/check", "structure_ingest/readers", "structure_ingest/project",
      "structure_ingest/record", "structure_ingest/base", "structure_ingest/picture",
      "collaborators/agent_modules"}},
    {"apps",
     {"apps/report", "server", "structure_ingest", "structure_ingest/project",
      "structure_ingest/base", "structure_ingest/check", "structure_ingest/ingest",
      "structure_ingest/picture", "structure_ingest/record", "structure_ingest/contracts",
      "collaborators/agent_modules"}},
    // Built together with the library, whose internal seams it uses: state doors, readers, entries.
    {"python/module",
     {"structure_ingest", "structure_ingest/discovery", "structure_ingest/ingest",
      "structure_ingest/check", "structure_ingest/readers", "structure_ingest/record",
      "structure_ingest/base", "structure_ingest/contracts"}},
};

TEST(Layers, IncludesPointDown) {
  const fs::path root = STRUCTURE_INGEST_SOURCE_DIR;
  const std::string include = "#include \"";
  int includes = 0;
  for (const char* top : {"structure_ingest", "collaborators", "server", "apps", "python"}) {
    for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
      if (entry.path().extension() != ".hpp" && entry.path().extension() != ".cpp") continue;
      const std::string file = fs::relative(entry.path(), root).string();
      const std::string layer = fs::path(file).parent_path().string();
      const auto rule = std::find_if(LAYERS.begin(), LAYERS.end(),
                                     [&](const auto& known) { return known.first == layer; });
      ASSERT_NE(rule, LAYERS.end()) << file << " lies in no layer";
      std::ifstream stream(entry.path());
      for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with(include)) continue;
        const std::string included =
            line.substr(include.size(), line.find('"', include.size()) - include.size());
        ++includes;
        EXPECT_TRUE(fs::exists(root / included)) << file << " includes " << included;
        const std::string below = fs::path(included).parent_path().string();
        EXPECT_TRUE(below == layer || rule->second.contains(below))
            << file << " includes " << included;
      }
    }
  }
  EXPECT_GT(includes, 100);
}

// Callers depend on everything that a public header includes.
TEST(Layers, PublicHeadersShowNothingInternal) {
  const fs::path root = STRUCTURE_INGEST_SOURCE_DIR;
  std::vector<std::string> headers = {"structure_ingest/structure_ingest.hpp"};
  for (std::size_t i = 0; i < headers.size(); ++i) {  // grows while includes are followed
    std::ifstream stream(root / headers[i]);
    for (std::string line; std::getline(stream, line);) {
      EXPECT_EQ(line.find("internal"), std::string::npos) << headers[i] << ": " << line;
      if (!line.starts_with("#include \"")) continue;
      const std::string included = line.substr(10, line.find('"', 10) - 10);
      if (std::find(headers.begin(), headers.end(), included) == headers.end()) {
        headers.push_back(included);
      }
    }
  }
  EXPECT_GT(headers.size(), 10U);
}

TEST(Layers, SourcesIncludeTheirOwnHeaderFirst) {
  const fs::path root = STRUCTURE_INGEST_SOURCE_DIR;
  int sources = 0;
  for (const char* top : {"structure_ingest", "collaborators", "server", "apps", "python"}) {
    for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
      const fs::path header = fs::path(entry.path()).replace_extension(".hpp");
      if (entry.path().extension() != ".cpp" || !fs::exists(header)) continue;
      std::ifstream stream(entry.path());
      std::string line;
      while (std::getline(stream, line) && !line.starts_with("#include")) {
      }
      EXPECT_EQ(line, "#include \"" + fs::relative(header, root).string() + "\"") << entry.path();
      ++sources;
    }
  }
  EXPECT_GT(sources, 30);
}

}  // namespace
