#include "structure_ingest/project/ownership.hpp"

#include <exception>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/project/folder_owners.hpp"

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
