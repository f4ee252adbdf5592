#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <thread>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"

namespace structure_ingest::internal {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char* LOCK_FILE = ".structure_ingest.lock";

/// Gives a new lock file to everyone who may write to the folder: to the folder's owner when root
/// created the file, and to its group and to others when they may write to the folder.
void share_with_writers(const Descriptor& file, const Descriptor& folder) {
  struct stat status {};
  if (fstat(folder.number(), &status) != 0) return;
  const bool has_group = take_owner_of(file, status);
  // In a folder with the sticky bit, such as /tmp, users must not open each other's files.
  const bool is_shared = (status.st_mode & S_ISVTX) == 0;
  mode_t mode = 0600;
  if (is_shared && has_group && (status.st_mode & S_IWGRP) != 0) mode |= 0060;
  if (is_shared && (status.st_mode & S_IWOTH) != 0) mode |= 0006;
  static_cast<void>(fchmod(file.number(), mode));
}

Descriptor open_lock_file(const std::string& folder, bool may_be_link, const std::string& path) {
  const int no_link = may_be_link ? 0 : O_NOFOLLOW;
  const Descriptor opened = open_at(AT_FDCWD, folder, O_PATH | O_DIRECTORY | no_link);
  if (!opened.is_open()) throw_file_error("cannot lock", path);
  constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK;
  Descriptor file = open_at(opened.number(), LOCK_FILE, flags | O_CREAT | O_EXCL, 0600);
  if (file.is_open()) {
    share_with_writers(file, opened);
  } else if (errno == EEXIST) {
    file = open_at(opened.number(), LOCK_FILE, flags);
  }
  regular_file_status(file, "cannot lock", path);
  return file;
}

/// Whether the path still leads to the open lock file: NewFolder removes some.
bool is_in_place(const Descriptor& file, const std::string& path) {
  struct stat opened {};
  struct stat found {};
  return fstat(file.number(), &opened) == 0 && lstat(path.c_str(), &found) == 0 &&
         opened.st_ino == found.st_ino && opened.st_dev == found.st_dev;
}

Descriptor locked_file(const std::string& folder, milliseconds most_wait, bool may_be_link) {
  const std::string path = join_path(folder, LOCK_FILE);
  Descriptor file = open_lock_file(folder, may_be_link, path);
  const steady_clock::time_point end = steady_clock::now() + most_wait;
  // flock(2) has no time limit: poll.
  for (milliseconds pause{1};; pause = std::min(2 * pause, milliseconds(50))) {
    if (retried([&] { return flock(file.number(), LOCK_EX | LOCK_NB); }) == 0) {
      if (is_in_place(file, path)) return file;
      file = open_lock_file(folder, may_be_link, path);
      continue;
    }
    if (errno != EWOULDBLOCK) throw_file_error("cannot lock", path);
    if (steady_clock::now() >= end) {
      const std::string what = "waited " + std::to_string(most_wait.count()) +
                               " ms for another program that holds the lock";
      throw_file_error(what.c_str(), path, EWOULDBLOCK);
    }
    std::this_thread::sleep_for(pause);
  }
}

/// The folders beneath a folder, innermost first, when there is nothing else but its lock file.
std::optional<std::vector<std::string>> folders_beneath(const std::string& folder) {
  std::vector<std::string> folders;
  for (fs::recursive_directory_iterator entry(folder), end; entry != end; ++entry) {
    if (entry->symlink_status().type() == fs::file_type::directory) {
      folders.insert(folders.begin(), entry->path().string());
    } else if (entry->path() != fs::path(join_path(folder, LOCK_FILE))) {
      return std::nullopt;
    }
  }
  return folders;
}

/// Removes folders, each of which holds the one before it, if nothing was put there.
void remove_unused(const std::vector<std::string>& created) {
  const std::string& folder = created.front();
  const FolderLock lock(folder, milliseconds(0));  // what another works in stays
  const std::optional<std::vector<std::string>> folders = folders_beneath(folder);
  if (!folders) return;
  // A file that is put there meanwhile ends this: a folder that is not empty is not removed.
  for (const std::string& inner : *folders) {
    if (rmdir(inner.c_str()) != 0) return;
  }
  if (unlink(join_path(folder, LOCK_FILE).c_str()) != 0) return;
  for (const std::string& each : created) {
    if (rmdir(each.c_str()) != 0) return;
  }
}

}  // namespace

FolderLock::FolderLock(const std::string& folder, milliseconds most_wait, bool may_be_link) try
    : file_(locked_file(folder, most_wait, may_be_link)) {
} catch (const FileError& error) {
  throw LockError(error);
}

NewFolder::NewFolder(const std::string& path) {
  for (fs::path folder = fs::absolute(c_path(path)).lexically_normal();
       !fs::exists(fs::symlink_status(folder)); folder = folder.parent_path()) {
    if (folder.has_filename()) created_.push_back(folder.string());
  }
  create_folders(path);
}

NewFolder::~NewFolder() {
  try {
    if (!created_.empty()) remove_unused(created_);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): then the folders stay
  }
}

}  // namespace structure_ingest::internal
