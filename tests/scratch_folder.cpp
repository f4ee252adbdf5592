#include "tests/scratch_folder.hpp"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>

namespace tests {

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
  EXPECT_EQ(run("rm -rf '" + path_ + "'").status, 0);
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

std::string ScratchFolder::write_script(std::string_view relative,
                                        const std::string& commands) const {
  std::string path = write(relative, "#!/bin/sh\n" + commands + "\n");
  fs::permissions(path, fs::perms::owner_all);
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

std::size_t count_of(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t i = text.find(part); i != text.npos; i = text.find(part, i + 1)) ++count;
  return count;
}

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

std::size_t entries_in(const std::string& folder) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

Environment::Environment(std::string name, const std::string& value) : name_(std::move(name)) {
  if (const char* const before = getenv(name_.c_str())) before_ = before;
  set(value);
}

void Environment::set(const std::optional<std::string>& value) const {
  if (value) {
    setenv(name_.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name_.c_str());
  }
}

CommandResult run(const std::string& command) {
  CommandResult result;
  FILE* const pipe = popen(command.c_str(), "r");
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
    result.output += static_cast<char>(c);
  }
  result.status = WEXITSTATUS(pclose(pipe));
  return result;
}

int status_of_child(const std::function<int()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

}  // namespace tests
