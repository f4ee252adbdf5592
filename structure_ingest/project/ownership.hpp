// Whose project a path belongs to. A folder is a project root when it holds one of the marker
// files ".strataquill_state.json" and ".strataquill_workspace.json" or the folder ".strataquill".
#pragma once

#include <optional>
#include <string>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

/// Bounds the search for an owner.
struct OwnerOptions {
  /// The walk ends before this folder, which is not examined. A folder that cannot be expanded or
  /// resolved sets no bound.
  std::optional<std::string> stop_at{};
};

/// The nearest project root above `path` (which is not examined itself), as a resolved path, or
/// nothing. A leading "~" is expanded. A path that cannot be expanded or resolved has no project
/// root, and a marker that cannot be tested does not count; nothing is reported.
STRUCTURE_INGEST_API std::optional<std::string> owning_project_root(
    const std::string& path, const OwnerOptions& options = {});

/// Whether `path` lies in a project other than `project_path`: its nearest project root is neither
/// that project nor a folder that contains it.
STRUCTURE_INGEST_API bool belongs_to_another_project(const std::string& path,
                                                     const std::string& project_path);

}  // namespace structure_ingest
