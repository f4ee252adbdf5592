// The folders are layers: an include may only point to the same layer or to a lower one.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

namespace {

namespace fs = std::filesystem;

// What each folder may include besides itself. The contracts of the agent's modules stand below the
// record, their implementations beside the library; both live in one folder.
const std::set<std::string> CONTRACTS = {"collaborators/collaborators.hpp",
                                         "collaborators/material_reference_data.hpp"};
const std::map<std::string, std::set<std::string>> MAY_INCLUDE = {
    {"structure_ingest/base", {}},
    {"contracts", {"structure_ingest/base"}},
    {"structure_ingest/record", {"contracts", "structure_ingest/base"}},
    {"structure_ingest/readers", {"structure_ingest/record", "contracts", "structure_ingest/base"}},
    {"structure_ingest/project", {"structure_ingest/base"}},
    {"structure_ingest/ingest",
     {"structure_ingest/readers", "structure_ingest/project", "structure_ingest/record",
      "contracts", "structure_ingest/base"}},
    {"structure_ingest/discovery",
     {"structure_ingest/ingest", "structure_ingest/readers", "structure_ingest/project",
      "structure_ingest/record", "contracts", "structure_ingest/base"}},
    {"structure_ingest",
     {"structure_ingest/discovery", "structure_ingest/ingest", "structure_ingest/readers",
      "structure_ingest/project", "structure_ingest/record", "contracts", "structure_ingest/base"}},
    {"collaborators",
     {"contracts", "structure_ingest/base", "structure_ingest/readers", "structure_ingest/record"}},
    {"apps", {"structure_ingest", "contracts", "collaborators"}},
};

std::string layer_of(const std::string& file) {
  const std::string header = fs::path(file).replace_extension(".hpp").string();
  return CONTRACTS.contains(header) ? "contracts" : fs::path(file).parent_path().string();
}

TEST(Layers, IncludesPointDown) {
  const fs::path root = STRUCTURE_INGEST_SOURCE_DIR;
  const std::string include = "#include \"";
  int includes = 0;
  for (const char* top : {"structure_ingest", "collaborators", "apps"}) {
    for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
      if (entry.path().extension() != ".hpp" && entry.path().extension() != ".cpp") continue;
      const std::string file = fs::relative(entry.path(), root).string();
      // Our supply of the modules has a contract's name, but is an implementation.
      const bool supplies = file == "collaborators/material_reference_data.cpp";
      const std::string layer = supplies ? "collaborators" : layer_of(file);
      ASSERT_TRUE(MAY_INCLUDE.contains(layer)) << file << " lies in no layer";
      std::ifstream stream(entry.path());
      for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with(include)) continue;
        const std::string included =
            line.substr(include.size(), line.find('"', include.size()) - include.size());
        ++includes;
        EXPECT_TRUE(fs::exists(root / included)) << file << " includes " << included;
        const std::string below = layer_of(included);
        EXPECT_TRUE(below == layer || MAY_INCLUDE.at(layer).contains(below))
            << file << " includes " << included;
      }
    }
  }
  EXPECT_GT(includes, 100);
}

TEST(Layers, SourcesIncludeTheirOwnHeaderFirst) {
  const fs::path root = STRUCTURE_INGEST_SOURCE_DIR;
  int sources = 0;
  for (const char* top : {"structure_ingest", "collaborators", "apps"}) {
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
