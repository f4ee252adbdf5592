// The structure files of a directory tree.
#pragma once

#include <string>
#include <vector>

#include "collaborators/collaborators.hpp"

namespace agent_modules {

/// Lists the structure files under `root` (resolved) by name, relative to it, in a fixed order:
/// what lies nearer to the root comes first, and beside each other the files of a folder in byte
/// order.
///
/// Symbolic links to folders are not followed, so no loop and no way out of the root. Left out are
/// hidden folders, folders of version control and caches, folders below the root that a tool made
/// for itself, folders that the user lists as untrusted, and the agent's own canonical copies; a
/// folder that cannot be read is left out, too. A root that is no folder has no files.
structure_ingest::WorkspaceInventory inventory_workspace(const std::string& root);

/// A tree as the inventory sees it; all paths are relative to its root, folders with a final slash.
struct FolderTree {
  std::vector<std::string> structure_files;     ///< as `inventory_workspace` lists them
  std::vector<std::string> unreadable_folders;  ///< left out; "" is the root itself
  std::vector<std::string> untrusted_folders;   ///< left out, but for trusted folders inside
};

/// The same, for those who tell what was left out.
FolderTree list_folder_tree(const std::string& root);

}  // namespace agent_modules
