#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"

namespace structure_ingest::internal {
namespace {

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

Descriptor open_lock_file(const std::string& folder, const std::string& path) {
  const Descriptor opened = open_at(AT_FDCWD, folder, O_PATH | O_DIRECTORY);
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

Descriptor locked_file(const std::string& folder, milliseconds most_wait) {
  const std::string path = join_path(folder, LOCK_FILE);
  Descriptor file = open_lock_file(folder, path);
  const steady_clock::time_point end = steady_clock::now() + most_wait;
  // flock(2) has no time limit: poll.
  for (milliseconds pause{1};; pause = std::min(2 * pause, milliseconds(50))) {
    if (retried([&] { return flock(file.number(), LOCK_EX | LOCK_NB); }) == 0) return file;
    if (errno != EWOULDBLOCK) throw_file_error("cannot lock", path);
    if (steady_clock::now() >= end) {
      const std::string what = "waited " + std::to_string(most_wait.count()) +
                               " ms for another program that holds a lock";
      throw_file_error(what.c_str(), path, EWOULDBLOCK);
    }
    std::this_thread::sleep_for(pause);
  }
}

}  // namespace

FolderLock::FolderLock(const std::string& folder, milliseconds most_wait) try
    : file_(locked_file(folder, most_wait)) {
} catch (const std::filesystem::filesystem_error& error) {
  throw LockError(error);
}

}  // namespace structure_ingest::internal
