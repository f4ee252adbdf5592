#include "structure_ingest/base/durable.hpp"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <filesystem>
#include <span>
#include <system_error>
#include <utility>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"

// Replacing a file takes four steps, each of which must be over before the next one begins:
//
// 1. Write the new content to a temporary file in the same folder. A reader must not see a
//    half-written file, and rename(2) works within one file system only.
// 2. fsync(2) that file. Otherwise the rename may reach the disk before the content does, and after
//    a loss of power the name would stand for an empty file.
// 3. Rename it to the file's name. A reader sees the whole old file or the whole new one.
// 4. fsync(2) the folder. Without it a loss of power may bring the old file back. That file is
//    whole, so that a failure of this step is no error.
namespace structure_ingest::internal {
namespace {

/// How many descriptors this process may have open.
int descriptor_limit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
  return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, INT_MAX));
}

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

void replace_file(const std::string& path, std::string_view content) {
  replace_file(path, [content](const TextSink& take) { take(content); });
}

void replace_file(const std::string& path, const std::function<void(const TextSink&)>& write) {
  const std::string normal = path_text(c_path(path));
  const Descriptor folder = open_folder_of(path, AT_FDCWD, parent_folder(normal));
  TemporaryFile temporary(folder, file_name(normal), path);
  write([&temporary](std::string_view piece) { temporary.write(piece); });
  if (retried([&] { return fsync(temporary.descriptor().number()); }) != 0) {
    throw_file_error(CANNOT_WRITE, path);
  }
  if (const char* const what = temporary.move_to_name()) throw_file_error(what, path);
  sync_folder(folder);
}

FileReplacements::FileReplacements(std::string root, std::string relative)
    : root_(std::move(root)),
      relative_(std::move(relative)),
      next_name_(random_number()),
      most_descriptors_(descriptor_limit()) {}

std::string FileReplacements::path_of(const std::string& name) const {
  return join_path(root_, relative_ + "/" + name);
}

/// Opens the folder to write `path` in it.
void FileReplacements::open_folder(const std::string& path) {
  create_folders(root_);
  Descriptor folder = open_at(AT_FDCWD, root_, O_PATH | O_DIRECTORY);
  if (!folder.is_open()) throw_file_error(CANNOT_WRITE, path);
  for (std::size_t start = 0; start < relative_.size();) {
    const std::size_t end = std::min(relative_.find('/', start), relative_.size());
    const std::string name = relative_.substr(start, end - start);
    if (mkdirat(folder.number(), name.c_str(), 0777) != 0 && errno != EEXIST) {
      throw_file_error(CANNOT_WRITE, path);
    }
    folder = open_folder_of(path, folder.number(), name);
    start = end + 1;
  }
  folder_ = std::move(folder);
}

void FileReplacements::add(const std::string& name, std::string_view content, std::size_t number) {
  const std::string path = path_of(name);
  if (!folder_.is_open()) open_folder(path);
  failures_.reserve(failures_.size() + pending_.size() + 1);  // settle() must not need memory
  TemporaryFile& file = pending_.emplace_back(folder_, name, path, next_name_++, number).file;
  try {
    file.write(content);
  } catch (...) {
    pending_.pop_back();
    throw;
  }
  // The system gives the lowest free number: this one tells how many descriptors are open. Leave
  // some to others.
  constexpr int spare = 32;
  const bool are_many = file.descriptor().number() > most_descriptors_ - spare;
  if (are_many || pending_.size() == FileSyncs::MOST) settle();
}

/// Forces the pending files to the disk and renames those of which that succeeded.
void FileReplacements::settle() {
  std::array<int, FileSyncs::MOST> files{};
  std::array<int, FileSyncs::MOST> errors{};
  std::transform(pending_.begin(), pending_.end(), files.begin(),
                 [](const Pending& pending) { return pending.file.descriptor().number(); });
  syncs_.sync(std::span(files).first(pending_.size()), errors);
  for (std::size_t i = 0; i < pending_.size(); ++i) {
    Pending& pending = pending_[i];
    const char* what = CANNOT_WRITE;
    errno = errors[i];
    if (errno == 0) what = pending.file.move_to_name();
    if (what == nullptr) {
      moved_ = true;
    } else {
      failures_.push_back({.number = pending.number, .what = what, .error = errno});
    }
  }
  pending_.clear();
}

std::vector<FileReplacements::Failure> FileReplacements::finish() {
  settle();
  if (moved_) sync_folder(folder_);
  moved_ = false;
  return std::exchange(failures_, {});
}

void create_folders(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(c_path(path), error);
  if (error) throw_file_error("cannot create directories", path, error.value());
}

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
    const FolderLock lock(parent_folder(normal), std::chrono::milliseconds(0), false);
    // Another writer may have rotated the log since the first check: do not replace the full log by
    // the new one.
    if (!is_larger(folder, name, size)) return;
    renameat(folder.number(), name.c_str(), folder.number(), (name + ".1").c_str());
  } catch (const std::system_error&) {
    // Keep logging to the large file.
  }
}

}  // namespace structure_ingest::internal
