// A temporary folder for a test, and what else of the process a test changes and runs. Includes
// what nearly every test needs.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tests {

namespace fs = std::filesystem;

/// Removed at the end.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  /// The absolute path of the folder, with symbolic links resolved.
  const std::string& path() const { return path_; }
  std::string operator/(std::string_view relative) const;

  /// Writes a file (and the folders above it) and returns its absolute path.
  std::string write(std::string_view relative, std::string_view content) const;
  /// Writes an executable shell script and returns its absolute path.
  std::string write_script(std::string_view relative, const std::string& commands) const;
  /// Creates a folder with its parents and returns its absolute path.
  std::string make_folder(std::string_view relative) const;
  /// Creates a symbolic link and returns its absolute path.
  std::string link(std::string_view relative, std::string_view target) const;

 private:
  std::string path_;
};

/// The bytes of a file; fails the test when it cannot be read.
std::string content_of(const std::string& path);

/// How often `part` occurs in a text.
std::size_t count_of(std::string_view text, std::string_view part);

/// The parts of a text between separators.
std::vector<std::string> split(std::string_view text, char separator);

/// How many entries a folder has.
std::size_t entries_in(const std::string& folder);

/// Sets a variable of the environment, which has its old value again at the end.
class Environment {
 public:
  Environment(std::string name, const std::string& value);
  ~Environment() { set(before_); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  /// Sets another value, or removes the variable.
  void set(const std::optional<std::string>& value) const;

 private:
  std::string name_;
  std::optional<std::string> before_;
};

/// Makes a folder the current one until the end.
class CurrentFolder {
 public:
  explicit CurrentFolder(const std::string& path) { fs::current_path(path); }
  ~CurrentFolder() { fs::current_path(before_); }
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;

 private:
  fs::path before_ = fs::current_path();
};

/// What a shell command writes to its standard output, and its exit status.
struct CommandResult {
  std::string output;
  int status = -1;
};
CommandResult run(const std::string& command);

/// Runs `work` in a child process, which ends with the status that it returns; gives the status as
/// waitpid() does.
int status_of_child(const std::function<int()>& work);

/// The error of this kind that `call` throws; fails the test when it throws none.
template <typename Error, typename Function>
Error error_of(const Function& call) {
  std::optional<Error> caught;
  try {
    call();
  } catch (const Error& error) {
    caught = error;
  }
  return caught.value();
}

}  // namespace tests
