// A temporary folder for a test, removed at its end.
#pragma once

#include <string>
#include <string_view>

namespace tests {

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
  /// Creates a folder with its parents and returns its absolute path.
  std::string make_folder(std::string_view relative) const;
  /// Creates a symbolic link and returns its absolute path.
  std::string link(std::string_view relative, std::string_view target) const;

 private:
  std::string path_;
};

/// The bytes of a file; fails the test when it cannot be read.
std::string content_of(const std::string& path);

}  // namespace tests
