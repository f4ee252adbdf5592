#include "collaborators/workspace_inventory.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "structure_ingest/base/path.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace qelda_agent {
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

struct Listing {
  std::vector<std::string> files;    // structure files, in byte order
  std::vector<std::string> folders;  // to be walked, in byte order
};

Listing list_folder(const std::string& path, bool holds_copies) {
  Listing listing;
  const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
  if (!folder) return listing;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): readdir is safe on a stream that nobody else uses.
  while (const dirent* const entry = readdir(folder.get())) {
    const std::string name = entry->d_name;
    const bool may_be_file = entry->d_type != DT_DIR && structure_ingest::is_structure_file(name);
    const bool may_be_folder = entry->d_type == DT_DIR || entry->d_type == DT_UNKNOWN;
    if (!may_be_file && !may_be_folder) continue;
    const unsigned char type = type_of(folder.get(), *entry);
    if (type == DT_DIR && !is_skipped_folder(name)) listing.folders.push_back(name);
    if (type == DT_REG && may_be_file && !(holds_copies && name.starts_with(COPY_PREFIX))) {
      listing.files.push_back(name);
    }
  }
  std::sort(listing.files.begin(), listing.files.end());
  std::sort(listing.folders.begin(), listing.folders.end());
  return listing;
}

}  // namespace

structure_ingest::WorkspaceInventory inventory_workspace(const std::string& root) {
  structure_ingest::WorkspaceInventory inventory;
  std::vector<std::string> pending = {""};  // relative to the root, each ending with a slash
  while (!pending.empty()) {
    const std::string folder = std::move(pending.back());
    pending.pop_back();
    const std::string path = root + "/" + folder;
    const bool holds_copies = structure_ingest::internal::path_text("/" + path)
                                  .ends_with("/" + std::string(COPIES_FOLDER));
    Listing listing = list_folder(path, holds_copies);
    for (const std::string& name : listing.files)
      inventory.structure_files.push_back(folder + name);
    // The last that is put on the stack is walked first.
    std::for_each(listing.folders.rbegin(), listing.folders.rend(),
                  [&](const std::string& name) { pending.push_back(folder + name + "/"); });
  }
  return inventory;
}

}  // namespace qelda_agent
