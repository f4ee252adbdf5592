// The structure files of a directory tree.
#pragma once

#include <string>
#include <vector>

#include "structure_ingest/contracts/collaborators.hpp"

namespace agent_modules {

/// Lists the structure files under `root` (resolved) by name, relative to it, in a fixed order: by
/// depth, and within a folder in byte order.
///
/// Does not follow symbolic links to folders, which excludes loops and paths out of the root. Skips
/// hidden folders, folders of version control and caches, folders below the root that a tool
/// created for its own use, folders that the user lists as untrusted, the agent's own canonical
/// copies, and folders that cannot be read. A root that is not a folder has no files.
structure_ingest::WorkspaceInventory inventory_workspace(const std::string& root);

/// The inventory of a tree; all paths are relative to its root, folders with a final slash.
struct FolderTree {
  std::vector<std::string> structure_files;     ///< as `inventory_workspace` lists them
  std::vector<std::string> unreadable_folders;  ///< skipped; "" is the root itself
  std::vector<std::string> untrusted_folders;   ///< skipped, except trusted folders inside
};

/// As above, with the folders that were skipped.
FolderTree list_folder_tree(const std::string& root);

}  // namespace agent_modules
