#include "structure_ingest/discovery/scanned_files.hpp"

#include <utility>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/project/folder_owners.hpp"

namespace structure_ingest {

struct ScannedFiles::Folders {
  internal::PathResolver resolver{};
  internal::FolderOwners owners{std::nullopt};
};

ScannedFiles::ScannedFiles(const std::string& root, std::string project)
    : project_(std::move(project)),
      kind_(internal::is_within(project_, root) ? DISCOVERY_PROJECT_FOLDER
                                                : DISCOVERY_WORKSPACE_SCAN),
      folders_(std::make_unique<Folders>()) {}

ScannedFiles::~ScannedFiles() = default;

ScannedFile ScannedFiles::describe(const std::string& path) {
  const std::string resolved = folders_->resolver.resolve(path);
  return {.path = path,
          .discovery = kind_,
          .owner = folders_->owners.owner_of(resolved),
          .taken = !folders_->owners.is_foreign(resolved, project_)};
}

}  // namespace structure_ingest
