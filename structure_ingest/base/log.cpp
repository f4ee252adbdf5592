#include "structure_ingest/base/log.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/folder_lock.hpp"
#include "structure_ingest/base/paths.hpp"

namespace structure_ingest::internal {
namespace {

constexpr const char* CANNOT_APPEND = "cannot append to";

/// Whether a file of `size` bytes ends in the middle of a line.
bool has_torn_line(const Descriptor& file, off_t size) {
  char last = '\n';
  return size > 0 && retried([&] { return pread(file.number(), &last, 1, size - 1); }) == 1 &&
         last != '\n';
}

/// Whether a regular file of more than `size` bytes stands in the folder.
bool is_larger(const Descriptor& folder, const std::string& name, std::uint64_t size) {
  struct stat status {};
  return fstatat(folder.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(status.st_mode) && static_cast<std::uint64_t>(status.st_size) > size;
}

}  // namespace

void append_line(const std::string& path, const std::string& line) {
  const std::string normal = path_text(c_path(path));
  const Descriptor folder = open_folder_of(path, AT_FDCWD, parent_folder(normal));
  const Descriptor file = open_at(folder.number(), file_name(normal),
                                  O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK);
  const struct stat status = regular_file_status(file, CANNOT_APPEND, path);
  const std::string text = (has_torn_line(file, status.st_size) ? "\n" : "") + line + '\n';
  const ssize_t written = write_some(file, text);
  if (written < 0) throw_file_error(CANNOT_APPEND, path);
  if (written != static_cast<ssize_t>(text.size())) throw_file_error(CANNOT_APPEND, path, ENOSPC);
}

void rotate_log(const std::string& path, std::uint64_t size) {
  try {
    const std::string normal = path_text(c_path(path));
    const std::string name = file_name(normal);
    const Descriptor folder = open_folder_of(path, AT_FDCWD, parent_folder(normal));
    if (!is_larger(folder, name, size)) return;
    const FolderLock lock(parent_folder(normal), std::chrono::milliseconds(0));
    // Another writer may have rotated the log since the first check: do not replace the full log by
    // the new one.
    if (!is_larger(folder, name, size)) return;
    renameat(folder.number(), name.c_str(), folder.number(), (name + ".1").c_str());
  } catch (const std::system_error&) {
    // Keep logging to the large file.
  }
}

}  // namespace structure_ingest::internal
