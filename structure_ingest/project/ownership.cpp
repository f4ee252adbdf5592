#include "structure_ingest/project/ownership.hpp"

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>

#include "structure_ingest/base/path.hpp"

namespace structure_ingest {
namespace {

constexpr std::array<std::string_view, 2> PROJECT_MARKERS = {".strataquill_state.json",
                                                             ".strataquill_workspace.json"};
constexpr std::array<std::string_view, 1> PROJECT_MARKER_DIRS = {".strataquill"};

std::optional<std::string> expanded_and_resolved(const std::string& path) {
  try {
    return internal::resolve_path(internal::expand_home(path));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

bool is_project_root(const std::string& folder) {
  // The folder is resolved already; joining text keeps the walk up a long path cheap.
  const std::string prefix = folder == "/" ? folder : folder + "/";
  return std::any_of(
             PROJECT_MARKERS.begin(), PROJECT_MARKERS.end(),
             [&](auto name) { return internal::is_regular_file(prefix + std::string(name)); }) ||
         std::any_of(PROJECT_MARKER_DIRS.begin(), PROJECT_MARKER_DIRS.end(),
                     [&](auto name) { return internal::is_directory(prefix + std::string(name)); });
}

}  // namespace

std::optional<std::string> owning_project_root(const std::string& path,
                                               const OwnerOptions& options) {
  const std::optional<std::string> candidate = expanded_and_resolved(path);
  if (!candidate) return std::nullopt;
  const std::optional<std::string> boundary =
      options.stop_at ? expanded_and_resolved(*options.stop_at) : std::nullopt;
  std::string folder = *candidate;
  while (folder != "/") {
    folder = internal::parent_folder(folder);
    if (folder == boundary) return std::nullopt;
    if (is_project_root(folder)) return folder;
  }
  return std::nullopt;
}

bool belongs_to_another_project(const std::string& path, const std::string& project_path) {
  const std::optional<std::string> project = expanded_and_resolved(project_path);
  if (!project) return false;
  const std::optional<std::string> owner = owning_project_root(path, {.stop_at = *project});
  return owner && !internal::is_within(*project, *owner);
}

}  // namespace structure_ingest
