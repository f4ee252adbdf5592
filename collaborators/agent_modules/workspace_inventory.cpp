#include "collaborators/agent_modules/workspace_inventory.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "structure_ingest/base/system_call.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace agent_modules {
namespace {

// Folders that hold no work of the user's own; hidden ones are left out anyway.
constexpr std::array<std::string_view, 4> SKIPPED_FOLDERS = {"CVS", "_darcs", "__pycache__",
                                                             "node_modules"};
constexpr std::string_view COPIES_FOLDER = "project_root/structures";
constexpr std::string_view COPY_PREFIX = "ingested_";

bool is_skipped_folder(std::string_view name) {
  return name.front() == '.' ||
         std::find(SKIPPED_FOLDERS.begin(), SKIPPED_FOLDERS.end(), name) != SKIPPED_FOLDERS.end();
}

/// The type of a directory entry; a symbolic link to a regular file counts as one, any other link
/// as nothing.
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
  const int descriptor = structure_ingest::internal::retried(
      [&] { return openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags); });
  if (descriptor < 0) return nullptr;
  Folder folder(fdopendir(descriptor));
  if (!folder) close(descriptor);
  return folder;
}

/// Opens a folder by its path from `root`, part by part where the path is longer than the system
/// takes at once.
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
};

Listing list_folder(DIR* folder, bool holds_copies) {
  Listing listing;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): readdir is safe on a stream that nobody else uses.
  while (const dirent* const entry = readdir(folder)) {
    const std::string name = entry->d_name;
    const bool may_be_file = entry->d_type != DT_DIR && structure_ingest::is_structure_file(name);
    const bool may_be_folder = entry->d_type == DT_DIR || entry->d_type == DT_UNKNOWN;
    if (!may_be_file && !may_be_folder) continue;
    const unsigned char type = type_of(folder, *entry);
    if (type == DT_DIR && !is_skipped_folder(name)) listing.folders.push_back(name);
    if (type == DT_REG && may_be_file && !(holds_copies && name.starts_with(COPY_PREFIX))) {
      listing.files.push_back(name);
    }
  }
  std::sort(listing.files.begin(), listing.files.end());
  std::sort(listing.folders.begin(), listing.folders.end());
  return listing;
}

/// The tree's folders, each before the folders inside it, and in byte order beside each other. A
/// folder is opened from the one before it when it lies directly in that, or else from the root.
class Walk {
 public:
  explicit Walk(const std::string& root) : root_(open_folder(AT_FDCWD, root, 0)) {}

  /// Goes to the next folder; false after the last. The first is the root.
  bool next() {
    if (!root_) return false;
    if (!started_) {
      started_ = true;
      return true;
    }
    while (!pending_.empty()) {
      const std::string before = std::exchange(path_, std::move(pending_.back()));
      pending_.pop_back();
      const std::string_view beyond =
          std::string_view(path_).substr(path_.starts_with(before) ? before.size() : 0);
      const bool is_child =
          folder_ && beyond.size() < path_.size() && beyond.find('/') + 1 == beyond.size();
      folder_ = is_child ? open_folder(dirfd(folder_.get()), std::string(beyond))
                         : open_deep(root_.get(), path_);
      if (folder_) return true;
    }
    return false;
  }
  DIR* folder() const { return folder_ ? folder_.get() : root_.get(); }
  /// The current folder's path from the root, empty or with a final slash.
  const std::string& path() const { return path_; }
  void add_children(const std::vector<std::string>& names) {
    // The last that is put on the stack comes first.
    std::for_each(names.rbegin(), names.rend(),
                  [this](const std::string& name) { pending_.push_back(path_ + name + "/"); });
  }

 private:
  Folder root_;
  Folder folder_;
  bool started_ = false;
  std::string path_;
  std::vector<std::string> pending_;
};

}  // namespace

structure_ingest::WorkspaceInventory inventory_workspace(const std::string& root) {
  structure_ingest::WorkspaceInventory inventory;
  for (Walk walk(root); walk.next();) {
    const bool holds_copies =
        ("/" + root + "/" + walk.path()).ends_with("/" + std::string(COPIES_FOLDER) + "/");
    Listing listing = list_folder(walk.folder(), holds_copies);
    for (const std::string& name : listing.files) {
      inventory.structure_files.push_back(walk.path() + name);
    }
    walk.add_children(listing.folders);
  }
  return inventory;
}

}  // namespace agent_modules
