#include "structure_ingest/project/ownership.hpp"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <exception>
#include <utility>
#include <vector>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/project/folder_owners.hpp"

namespace structure_ingest::internal {
namespace {

bool is_project_root(const std::string& folder) {
  // The folder is resolved: joining text is enough, and keeps the walk up a long path cheap.
  const std::string prefix = folder == "/" ? folder : folder + "/";
  return is_regular_file(prefix + ".strataquill_state.json") ||
         is_regular_file(prefix + ".strataquill_workspace.json") ||
         is_directory(prefix + ".strataquill");
}

}  // namespace

std::optional<std::string> FolderOwners::owner_of(const std::string& resolved_path) {
  std::vector<std::string> passed;  // folders with the same answer as their parent
  std::optional<std::string> owner;
  std::string folder = resolved_path;
  while (folder != "/") {
    folder.resize(std::max<std::size_t>(folder.rfind('/'), 1));
    if (folder == stop_at_) break;
    // No folder has so long a name; remembering each would take memory quadratic in the length of
    // the path.
    if (folder.size() >= PATH_MAX) continue;
    if (const auto known = known_.find(folder); known != known_.end()) {
      owner = known->second;
      break;
    }
    passed.push_back(folder);
    if (!is_project_root(folder)) continue;
    owner = folder;
    break;
  }
  for (std::string& each : passed) known_.emplace(std::move(each), owner);
  return owner;
}

bool FolderOwners::is_foreign(const std::string& resolved_path, const std::string& project) {
  const std::optional<std::string> owner = owner_of(resolved_path);
  return owner && !is_within(project, *owner);
}

}  // namespace structure_ingest::internal

namespace structure_ingest {
namespace {

/// Nothing for a path that cannot be expanded or resolved.
std::optional<std::string> resolved_or_nothing(const std::string& path) {
  try {
    return internal::expanded_and_resolved(path);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<std::string> owning_project_root(const std::string& path,
                                               const OwnerOptions& options) {
  const std::optional<std::string> candidate = resolved_or_nothing(path);
  if (!candidate) return std::nullopt;
  return internal::FolderOwners(options.stop_at ? resolved_or_nothing(*options.stop_at)
                                                : std::nullopt)
      .owner_of(*candidate);
}

bool belongs_to_another_project(const std::string& path, const std::string& project_path) {
  const std::optional<std::string> candidate = resolved_or_nothing(path);
  const std::optional<std::string> project = resolved_or_nothing(project_path);
  return candidate && project && internal::FolderOwners(project).is_foreign(*candidate, *project);
}

}  // namespace structure_ingest
