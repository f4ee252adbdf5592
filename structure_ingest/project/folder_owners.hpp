// Finds the projects that folders lie in, and examines each folder once.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>

namespace structure_ingest::internal {

class FolderOwners {
 public:
  /// The walk up ends before the folder `stop_at` (resolved), which is not examined.
  explicit FolderOwners(std::optional<std::string> stop_at) : stop_at_(std::move(stop_at)) {}

  /// The nearest project root above a file or folder, given its resolved path; nothing when there
  /// is none.
  std::optional<std::string> owner_of(const std::string& resolved_path);

  /// Whether a file lies in a project other than `project` (resolved): its owner is neither that
  /// project nor a folder that contains it.
  bool is_foreign(const std::string& resolved_path, const std::string& project);

 private:
  std::optional<std::string> stop_at_;
  std::unordered_map<std::string, std::optional<std::string>> known_;  // by folder
};

}  // namespace structure_ingest::internal
