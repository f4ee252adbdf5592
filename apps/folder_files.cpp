#include "apps/folder_files.hpp"

#include <algorithm>
#include <cstddef>

#include "apps/command_line.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/base/paths.hpp"

namespace apps {
namespace {

namespace base = structure_ingest::internal;

void warn(const std::vector<std::string>& folders, const std::string& root, const char* why) {
  constexpr std::size_t MOST = 3;
  for (std::size_t i = 0; i < std::min(folders.size(), MOST); ++i) {
    print_error(base::join_path(root, folders[i]) + ": " + why + "; left out");
  }
  if (folders.size() > MOST) {
    print_error(std::to_string(folders.size() - MOST) + " folders more: " + why + "; left out");
  }
}

}  // namespace

void warn_left_out(const agent_modules::FolderTree& tree, const std::string& root) {
  warn(tree.unreadable_folders, root, "cannot be read");
  warn(tree.untrusted_folders, root, "listed as untrusted");
}

std::vector<std::string> structure_files_below(const std::string& folder) {
  const agent_modules::FolderTree tree =
      agent_modules::list_folder_tree(base::resolve_path(folder));
  warn_left_out(tree, folder);
  if (tree.structure_files.empty()) {
    throw WrongInput(folder + ": a folder without structure files");
  }
  std::vector<std::string> paths;
  paths.reserve(tree.structure_files.size());
  for (const std::string& relative : tree.structure_files) {
    paths.push_back(base::join_path(folder, relative));
  }
  return paths;
}

}  // namespace apps
