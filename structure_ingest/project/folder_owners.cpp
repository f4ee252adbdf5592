#include "structure_ingest/project/folder_owners.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "structure_ingest/base/paths.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::array<std::string_view, 2> PROJECT_MARKERS = {".strataquill_state.json",
                                                             ".strataquill_workspace.json"};
constexpr std::array<std::string_view, 1> PROJECT_MARKER_DIRS = {".strataquill"};

bool is_project_root(const std::string& folder) {
  // The folder is resolved: joining text is enough, and keeps the walk up a long path cheap.
  const std::string prefix = folder == "/" ? folder : folder + "/";
  return std::any_of(PROJECT_MARKERS.begin(), PROJECT_MARKERS.end(),
                     [&](auto name) { return is_regular_file(prefix + std::string(name)); }) ||
         std::any_of(PROJECT_MARKER_DIRS.begin(), PROJECT_MARKER_DIRS.end(),
                     [&](auto name) { return is_directory(prefix + std::string(name)); });
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
