#include "collaborators/agent_modules/workspace_inventory.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <string_view>

#include "collaborators/agent_modules/directory_trust.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace agent_modules {
namespace {

// Folders without work of the user's own. Hidden folders are skipped separately.
constexpr std::array<std::string_view, 4> SKIPPED_FOLDERS = {"CVS", "_darcs", "__pycache__",
                                                             "node_modules"};
constexpr std::string_view COPIES_FOLDER = "project_root/structures";
constexpr std::string_view COPY_PREFIX = "ingested_";

bool is_skipped_folder(std::string_view name) {
  return name.front() == '.' ||
         std::find(SKIPPED_FOLDERS.begin(), SKIPPED_FOLDERS.end(), name) != SKIPPED_FOLDERS.end();
}

/// The type of a directory entry; DT_REG also for a symbolic link to a regular file, nothing for
/// any other link.
unsigned char type_of(DIR* folder, const dirent& entry) {
  unsigned char type = entry.d_type;
  struct stat status {};
  if (type == DT_UNKNOWN &&
      fstatat(dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
    type = static_cast<unsigned char>(IFTODT(status.st_mode));
  }
  if (type != DT_LNK) return type;
  const bool is_file =
      fstatat(dirfd(folder), entry.d_name, &status, 0) == 0 && S_ISREG(status.st_mode);
  return is_file ? DT_REG : DT_UNKNOWN;
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

Folder open_folder(int parent, const std::string& name, int flags = O_NOFOLLOW) {
  auto descriptor =
      structure_ingest::internal::open_at(parent, name, O_RDONLY | O_DIRECTORY | flags);
  Folder folder(fdopendir(descriptor.number()));
  if (folder) descriptor.release();  // the stream closes it
  return folder;
}

/// Opens a folder by its path from `root`, component by component when the path is longer than the
/// system accepts.
Folder open_deep(DIR* root, std::string_view path) {
  Folder folder;
  while (!path.empty()) {
    const std::size_t end =
        path.size() < PATH_MAX ? path.size() : path.rfind('/', PATH_MAX - 2) + 1;
    folder = open_folder(dirfd(folder ? folder.get() : root), std::string(path.substr(0, end)));
    if (!folder) break;
    path.remove_prefix(end);
  }
  return folder;
}

struct Listing {
  std::vector<std::string> files;    // structure files, in byte order
  std::vector<std::string> folders;  // to be walked, in byte order
  bool is_a_tools = false;           // created by a tool for its own use
};

/// Marks Python and conda environments, and caches that are tagged as such.
bool marks_a_tools_folder(std::string_view name) {
  return name == "pyvenv.cfg" || name == "conda-meta" || name == "CACHEDIR.TAG";
}

Listing list_folder(DIR* folder, bool holds_copies) {
  Listing listing;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread uses this stream.
  while (const dirent* const entry = readdir(folder)) {
    const std::string_view name = entry->d_name;
    listing.is_a_tools = listing.is_a_tools || marks_a_tools_folder(name);
    const bool may_be_file = entry->d_type != DT_DIR && structure_ingest::is_structure_file(name);
    const bool may_be_folder = entry->d_type == DT_DIR || entry->d_type == DT_UNKNOWN;
    if (!may_be_file && !may_be_folder) continue;
    const unsigned char type = type_of(folder, *entry);
    if (type == DT_DIR && !is_skipped_folder(name)) listing.folders.emplace_back(name);
    if (type == DT_REG && may_be_file && !(holds_copies && name.starts_with(COPY_PREFIX))) {
      listing.files.emplace_back(name);
    }
  }
  std::sort(listing.files.begin(), listing.files.end());
  std::sort(listing.folders.begin(), listing.folders.end());
  return listing;
}

/// The part of the user's list of directories that concerns one tree.
class TreeTrust {
 public:
  /// Whether a folder is untrusted, given the answer for its parent.
  bool is_untrusted(const std::string& folder, bool is_parent_untrusted) const {
    const auto listed = list_.find(folder);
    return listed == list_.end() ? is_parent_untrusted : listed->second == "untrusted";
  }
  /// Whether any folder inside `folder` is listed as trusted.
  bool trusts_within(const std::string& folder) const {
    const std::string prefix = folder + "/";
    for (auto at = list_.lower_bound(prefix); at != list_.end(); ++at) {
      if (!at->first.starts_with(prefix)) return false;
      if (at->second == "trusted") return true;
    }
    return false;
  }

 private:
  std::map<std::string, std::string> list_ = readable_trust_list();
};

struct PendingFolder {
  std::string path;  // from the root, empty or with a final slash
  bool is_untrusted;
};

bool is_copies_folder(const std::string& root, const std::string& path) {
  return ("/" + root + "/" + path).ends_with("/" + std::string(COPIES_FOLDER) + "/");
}

}  // namespace

FolderTree list_folder_tree(const std::string& root) {
  FolderTree tree;
  const Folder root_folder = open_folder(AT_FDCWD, root, 0);
  if (!root_folder) {
    tree.unreadable_folders.emplace_back();
    return tree;
  }
  const TreeTrust trust;
  const std::string prefix = root == "/" ? root : root + "/";
  std::deque<PendingFolder> pending = {{"", is_untrusted(root)}};
  for (; !pending.empty(); pending.pop_front()) {
    const auto& [path, is_untrusted] = pending.front();
    const std::string absolute = path.empty() ? root : prefix + path.substr(0, path.size() - 1);
    if (is_untrusted) {
      tree.untrusted_folders.push_back(path);
      if (!trust.trusts_within(absolute)) continue;
    }
    const Folder opened = path.empty() ? nullptr : open_deep(root_folder.get(), path);
    DIR* const folder = path.empty() ? root_folder.get() : opened.get();
    if (folder == nullptr) {
      tree.unreadable_folders.push_back(path);
      continue;
    }
    const Listing listing = list_folder(folder, is_copies_folder(root, path));
    if (listing.is_a_tools && !path.empty()) continue;
    if (!is_untrusted) {
      for (const std::string& name : listing.files) tree.structure_files.push_back(path + name);
    }
    for (const std::string& name : listing.folders) {
      const bool untrusted_too = trust.is_untrusted(prefix + path + name, is_untrusted);
      pending.push_back({path + name + "/", untrusted_too});
    }
  }
  return tree;
}

structure_ingest::WorkspaceInventory inventory_workspace(const std::string& root) {
  return {.structure_files = list_folder_tree(root).structure_files};
}

}  // namespace agent_modules
