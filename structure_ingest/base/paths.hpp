// Paths as text: their normal form and parts, the home directory, resolution and identity. A path
// is a byte string and need not be valid UTF-8.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

namespace structure_ingest::internal {

/// A path with a NUL character, which would silently cut it short.
struct NulInPath : std::invalid_argument {
  explicit NulInPath(std::string_view refused);
  std::string path;
};

/// The normal text of a path: repeated separators merged, single-dot components and a trailing
/// separator dropped, ".." kept. The empty text is the current directory, ".".
std::string path_text(std::string_view text);

/// The last component of a path, as a view of it; empty for "/" and ".".
std::string_view last_component(std::string_view path);

/// As above, as a copy.
std::string file_name(std::string_view path);

/// The folder of a path in normal form: all but the last component ("." where none is left).
std::string parent_folder(std::string_view path);

bool is_absolute(std::string_view path);

/// `path` under `folder`, or `path` itself when it is absolute.
std::string join_path(std::string_view folder, std::string_view path);

/// Whether a resolved path is `folder` (resolved too) or lies inside it.
bool is_within(std::string_view path, std::string_view folder);

/// Replaces a leading "~" or "~user" by that user's home directory. Throws std::runtime_error when
/// the home directory is unknown, and std::invalid_argument for text with a NUL character.
std::string expand_home(std::string_view path);

/// The absolute path with symbolic links followed and "." and ".." removed; it need not exist. A
/// path with a loop of links keeps its own components. Throws std::invalid_argument for text with a
/// NUL character, and std::filesystem::filesystem_error when the path is relative and the current
/// directory cannot be determined.
std::string resolve_path(std::string_view path);

/// The path of an existing or missing file here in its absolute form, without "." and "..", so that
/// one file has one path. Links keep their names, but for those that a ".." follows: behind a link
/// to a folder, ".." is not the folder that the path names before it.
std::string absolute_path(std::string_view path);

/// `resolve_path` of `expand_home`, and what they throw.
std::string expanded_and_resolved(std::string_view path);

/// Resolves the paths of one call, many of them in the same folders: asks the system about each
/// folder once. May miss changes on the disk during its life.
class PathResolver {
 public:
  /// As `resolve_path`.
  std::string resolve(std::string_view path);

 private:
  const std::optional<std::string>& folder_of(const std::string& path);

  std::string current_folder_;  // empty until a relative path needs it
  /// Resolved folders by their names; nothing for one whose links form a loop.
  std::unordered_map<std::string, std::optional<std::string>> folders_;
};

/// Identifies a file for de-duplication and for discovery kinds: the resolved path, case-folded.
std::string source_identity(std::string_view resolved_path);

/// Whether an existing regular file or directory stands at `path`, symbolic links followed. False
/// when the system refuses to answer.
bool is_regular_file(const std::string& path);
bool is_directory(const std::string& path);

}  // namespace structure_ingest::internal
