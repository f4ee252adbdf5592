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

// The layers from the lowest to the highest, and what each may include besides itself. PUBLIC
// stands for the headers that callers get.
constexpr const char* PUBLIC = "public headers";
const std::vector<std::pair<std::string, std::set<std::string>>> LAYERS = [] {
  const std::string s = "structure_ingest/";
  return std::vector<std::pair<std::string, std::set<std::string>>>{
      {s + "base/fast", {}},
      {s + "base", {s + "base/fast"}},
      {s + "cache", {s + "base"}},
      {s + "contracts", {s + "base"}},
      {s + "record", {s + "contracts", s + "base"}},
      {s + "readers", {s + "record", s + "cache", s + "contracts", s + "base", s + "base/fast"}},
      {s + "check/xyz", {s + "check", s + "readers", s + "record", s + "base"}},
      {s + "check/cif", {s + "check", s + "readers", s + "record", s + "base"}},
      {s + "check/vasp", {s + "check", s + "readers", s + "record", s + "base"}},
      {s + "check",
       {s + "check/xyz", s + "check/cif", s + "check/vasp", s + "readers", s + "record",
        s + "base"}},
      {s + "picture", {s + "check", s + "record", s + "base"}},
      {s + "project", {s + "base"}},
      {s + "ingest",
       {s + "check", s + "readers", s + "project", s + "record", s + "contracts", s + "base",
        s + "base/fast"}},
      {s + "discovery",
       {s + "ingest", s + "check", s + "readers", s + "project", s + "record", s + "contracts",
        s + "base"}},
      {s + "upkeep",
       {s + "discovery", s + "ingest", s + "check", s + "readers", s + "record", s + "base"}},
      {"structure_ingest",
       {s + "upkeep", s + "discovery", s + "ingest", s + "picture", s + "check", s + "readers",
        s + "project", s + "record", s + "cache", s + "contracts", s + "base"}},
      {"collaborators/agent_modules/relevance", {s + "contracts", s + "base", s + "record"}},
      {"collaborators/agent_modules",
       {"collaborators/agent_modules/relevance", PUBLIC, s + "base"}},
      {"telling", {PUBLIC, s + "base"}},
      {"outputs", {PUBLIC, "telling", "collaborators/agent_modules", s + "base"}},
      {"server", {PUBLIC, "telling", "collaborators/agent_modules", s + "base"}},
      {"apps", {"outputs", "server", PUBLIC, "telling", "collaborators/agent_modules", s + "base"}},
      // Its seams for hosts in other languages are one header: structure_ingest/host.hpp.
      {"python/module", {PUBLIC, "structure_ingest", "telling", "outputs", s + "base"}},
  };
}();

/// The file that an include directive of ours names; empty for any other line.
std::string included_in(const std::string& line) {
  const std::string include = "#include \"";
  if (!line.starts_with(include)) return {};
  return line.substr(include.size(), line.find('"', include.size()) - include.size());
}

/// The entry header and all that it includes.
std::vector<std::string> public_headers() {
  std::vector<std::string> headers = {"structure_ingest/structure_ingest.hpp"};
  for (std::size_t i = 0; i < headers.size(); ++i) {  // grows while includes are followed
    std::ifstream stream(fs::path(STRUCTURE_INGEST_SOURCE_DIR) / headers[i]);
    for (std::string line; std::getline(stream, line);) {
      const std::string included = included_in(line);
      const bool is_known = std::find(headers.begin(), headers.end(), included) != headers.end();
      if (!included.empty() && !is_known) headers.push_back(included);
    }
  }
  return headers;
}

TEST(Layers, IncludesPointDown) {
  const fs::path root = STRUCTURE_INGEST_SOURCE_DIR;
  const std::vector<std::string> offered = public_headers();
  int includes = 0;
  for (const char* top :
       {"structure_ingest", "collaborators", "telling", "server", "apps", "python"}) {
    for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
      if (entry.path().extension() != ".hpp" && entry.path().extension() != ".cpp") continue;
      const std::string file = fs::relative(entry.path(), root).string();
      const std::string layer = fs::path(file).parent_path().string();
      const auto rule = std::find_if(LAYERS.begin(), LAYERS.end(),
                                     [&](const auto& known) { return known.first == layer; });
      ASSERT_NE(rule, LAYERS.end()) << file << " lies in no layer";
      std::ifstream stream(entry.path());
      for (std::string line; std::getline(stream, line);) {
        const std::string included = included_in(line);
        if (included.empty()) continue;
        ++includes;
        EXPECT_TRUE(fs::exists(root / included)) << file << " includes " << included;
        const std::string below = fs::path(included).parent_path().string();
        const bool is_offered =
            rule->second.contains(PUBLIC) &&
            std::find(offered.begin(), offered.end(), included) != offered.end();
        EXPECT_TRUE(below == layer || is_offered || rule->second.contains(below))
            << file << " includes " << included;
      }
    }
  }
  EXPECT_GT(includes, 100);
}

// Callers depend on everything that a public header includes.
TEST(Layers, PublicHeadersShowNothingInternal) {
  const fs::path root = STRUCTURE_INGEST_SOURCE_DIR;
  const std::vector<std::string> headers = public_headers();
  for (const std::string& header : headers) {
    std::ifstream stream(root / header);
    for (std::string line; std::getline(stream, line);) {
      EXPECT_EQ(line.find("internal"), std::string::npos) << header << ": " << line;
    }
  }
  EXPECT_GT(headers.size(), 10U);
}

TEST(Layers, SourcesIncludeTheirOwnHeaderFirst) {
  const fs::path root = STRUCTURE_INGEST_SOURCE_DIR;
  int sources = 0;
  for (const char* top :
       {"structure_ingest", "collaborators", "telling", "server", "apps", "python"}) {
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
