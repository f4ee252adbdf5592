// The folders that a server may work in, and the paths that a client gives. Links are resolved
// before anything is decided.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace server {

class Roots {
 public:
  /// Throws std::runtime_error for one that is no directory.
  explicit Roots(const std::vector<std::string>& folders);

  const std::vector<std::string>& folders() const { return folders_; }

  /// Whether a path lies in a root once its links are resolved; it need not exist.
  bool hold(const std::string& path) const;

  /// The absolute path that an argument names: a path, one relative to a root, or a file URI. Links
  /// keep their names. Throws ToolError for one outside, or in several roots.
  std::string locate(const std::string& given) const;

  /// Whether a structure file may be read, and with it what readers look for beside it.
  bool may_read(const std::string& path) const;

  /// As `locate`, of a file that is to be read as a structure.
  std::string locate_structure(const std::string& given) const;

  /// The resolved folder of a project. Throws ToolError when a link in it leads outside.
  std::string locate_project(const std::string& given) const;

 private:
  std::vector<std::string> folders_;  // resolved, each once
};

/// "file:///a%20b", every byte of the path kept.
std::string file_uri(std::string_view path);

/// The path of a file URI of this machine; empty for any other text.
std::string path_of_uri(std::string_view uri);

}  // namespace server
