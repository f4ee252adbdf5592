#include "structure_ingest/project/ownership.hpp"

#include <exception>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/project/folder_owners.hpp"

namespace structure_ingest {
namespace {

std::optional<std::string> expanded_and_resolved(const std::string& path) {
  try {
    return internal::resolve_path(internal::expand_home(path));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<std::string> owning_project_root(const std::string& path,
                                               const OwnerOptions& options) {
  const std::optional<std::string> candidate = expanded_and_resolved(path);
  if (!candidate) return std::nullopt;
  return internal::FolderOwners(options.stop_at ? expanded_and_resolved(*options.stop_at)
                                                : std::nullopt)
      .owner_of(*candidate);
}

bool belongs_to_another_project(const std::string& path, const std::string& project_path) {
  const std::optional<std::string> candidate = expanded_and_resolved(path);
  const std::optional<std::string> project = expanded_and_resolved(project_path);
  return candidate && project && internal::FolderOwners(project).is_foreign(*candidate, *project);
}

}  // namespace structure_ingest
