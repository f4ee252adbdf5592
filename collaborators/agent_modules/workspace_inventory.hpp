// The structure files of a directory tree.
#pragma once

#include <string>

#include "collaborators/collaborators.hpp"

namespace agent_modules {

/// Lists the structure files under `root` by name, relative to it, in a fixed order: the files of a
/// folder in byte order of their names, then its subfolders in byte order of theirs.
///
/// Symbolic links to folders are not followed, so no loop and no way out of the root. Hidden
/// folders, folders of version control and caches, and the agent's own canonical copies are left
/// out; a folder that cannot be read is left out, too. A root that is no folder has no files.
structure_ingest::WorkspaceInventory inventory_workspace(const std::string& root);

}  // namespace agent_modules
