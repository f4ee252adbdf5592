// The structure files of a folder that was given in the place of a file.
#pragma once

#include <string>
#include <vector>

#include "collaborators/agent_modules/workspace_inventory.hpp"

namespace apps {

/// Says on standard error which folders below `root` were left out of its tree, and why.
void warn_left_out(const agent_modules::FolderTree& tree, const std::string& root);

/// The paths of the structure files below a folder, by the rules of `scan`. Throws WrongInput when
/// there are none.
std::vector<std::string> structure_files_below(const std::string& folder);

}  // namespace apps
