#include "tests/scratch_folder.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace tests {

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder() {
  std::string pattern = (fs::temp_directory_path() / "structure_ingest-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw fs::filesystem_error("mkdtemp", pattern, {});
  path_ = fs::canonical(pattern).string();
}

ScratchFolder::~ScratchFolder() {
  std::error_code error;
  fs::remove_all(path_, error);
  if (!error) return;
  // Some tests create trees too deep for the standard library.
  EXPECT_EQ(std::system(("rm -rf '" + path_ + "'").c_str()), 0);
}

std::string ScratchFolder::operator/(std::string_view relative) const {
  return path_ + "/" + std::string(relative);
}

std::string ScratchFolder::write(std::string_view relative, std::string_view content) const {
  const std::string path = *this / relative;
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

std::string ScratchFolder::make_folder(std::string_view relative) const {
  fs::create_directories(*this / relative);
  return *this / relative;
}

std::string ScratchFolder::link(std::string_view relative, std::string_view target) const {
  fs::create_directories(fs::path(*this / relative).parent_path());
  fs::create_symlink(target, *this / relative);
  return *this / relative;
}

std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace tests
