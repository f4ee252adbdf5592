#include "structure_ingest/base/file.hpp"

#include <linux/limits.h>
#include <linux/magic.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "structure_ingest/base/words.hpp"

namespace structure_ingest::internal {
namespace {

constexpr const char* CANNOT_READ = "cannot read";

bool is_made_up(const struct statfs& file_system) {
  const auto type = static_cast<unsigned long>(file_system.f_type);
  return type == PROC_SUPER_MAGIC || type == SYSFS_MAGIC || type == DEBUGFS_MAGIC ||
         type == TRACEFS_MAGIC;
}

/// Blocks SIGXFSZ, the signal for exceeding the process's file size limit, and discards the one
/// that a write raised in the meantime.
class SizeSignalBlocked {
 public:
  SizeSignalBlocked() {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signal_, &old_);
  }
  ~SizeSignalBlocked() {
    const int error = errno;
    const timespec at_once{};
    if (sigismember(&old_, SIGXFSZ) == 0) sigtimedwait(&signal_, nullptr, &at_once);
    pthread_sigmask(SIG_SETMASK, &old_, nullptr);
    errno = error;
  }
  SizeSignalBlocked(const SizeSignalBlocked&) = delete;
  SizeSignalBlocked& operator=(const SizeSignalBlocked&) = delete;

 private:
  sigset_t signal_{};
  sigset_t old_{};
};

}  // namespace

FileError::FileError(const char* what, const std::string& path, int error)
    : filesystem_error(what, shortened(path, PATH_MAX),
                       std::error_code(error, std::generic_category())),
      message_(std::string(what) + " " + path1().string() + ": " + code().message()) {}

void throw_file_error(const char* what, const std::string& path, int error) {
  throw FileError(what, path, error);
}

const char* c_path(const std::string& path) {
  if (path.find('\0') != std::string::npos) throw_file_error("cannot use path", path, EINVAL);
  return path.c_str();
}

Descriptor open_at(int folder, const std::string& name, int flags, mode_t mode) {
  return Descriptor(
      retried([&] { return openat(folder, c_path(name), flags | O_CLOEXEC | O_NOCTTY, mode); }));
}

Descriptor open_folder_of(const std::string& path, int parent, const std::string& name) {
  Descriptor folder = open_at(parent, name, O_PATH | O_DIRECTORY | O_NOFOLLOW);
  if (folder.is_open()) return folder;
  const int error = errno;
  struct stat status {};
  const bool is_link =
      fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
  if (is_link) throw_file_error("cannot write through a symbolic link", path, ELOOP);
  throw_file_error("cannot write", path, error);
}

struct stat regular_file_status(const Descriptor& file, const char* what, const std::string& path) {
  struct stat status {};
  struct statfs file_system {};
  if (!file.is_open() || fstat(file.number(), &status) != 0) throw_file_error(what, path);
  if (S_ISDIR(status.st_mode)) throw_file_error(what, path, EISDIR);
  // What the kernel makes up lies on no device.
  if (S_ISREG(status.st_mode) && major(status.st_dev) != 0) return status;
  if (fstatfs(file.number(), &file_system) != 0) throw_file_error(what, path);
  if (!S_ISREG(status.st_mode) || is_made_up(file_system)) throw_file_error(what, path, EINVAL);
  return status;
}

bool is_made_up_file(const std::string& path) {
  struct statfs file_system {};
  return retried([&] { return statfs(c_path(path), &file_system); }) == 0 &&
         is_made_up(file_system);
}

bool take_owner_of(const Descriptor& file, const struct stat& other) {
  return fchown(file.number(), other.st_uid, other.st_gid) == 0 ||
         fchown(file.number(), static_cast<uid_t>(-1), other.st_gid) == 0;
}

ssize_t write_some(const Descriptor& file, std::string_view text) {
  const auto write = [&] {
    return retried([&] { return ::write(file.number(), text.data(), text.size()); });
  };
  rlimit limit{};
  // Mostly there is no limit, and to ask for it takes one system call instead of three.
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur == RLIM_INFINITY) return write();
  const SizeSignalBlocked blocked;
  return write();
}

InputFile::InputFile(const std::string& path)
    // Without O_NONBLOCK, opening a FIFO waits for a writer.
    : InputFile(open_at(AT_FDCWD, path, O_RDONLY | O_NONBLOCK), path) {}

InputFile::InputFile(Descriptor file, std::string path)
    : path_(std::move(path)), file_(std::move(file)) {
  const struct stat status = regular_file_status(file_, CANNOT_READ, path_);
  size_ = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
}

void InputFile::move_to(std::uint64_t offset) {
  if (lseek(file_.number(), static_cast<off_t>(offset), SEEK_SET) < 0) {
    throw_file_error(CANNOT_READ, path_);
  }
  used_ = offset;
}

std::size_t InputFile::read(char* buffer, std::size_t size) {
  const std::size_t wanted =
      size_ == 0 ? size : static_cast<std::size_t>(std::min<std::uint64_t>(size, size_ - used_));
  if (wanted == 0) return 0;
  const ssize_t count = retried([&] { return ::read(file_.number(), buffer, wanted); });
  if (count < 0) throw_file_error(CANNOT_READ, path_);
  used_ += static_cast<std::uint64_t>(count);
  return static_cast<std::size_t>(count);
}

void InputFile::refuse_as_too_large() const {
  throw_file_error(CANNOT_READ, path_, EFBIG);
}

std::string read_file(const std::string& path) {
  constexpr std::size_t piece = 1 << 16;
  InputFile file(path);
  if (file.size() > MAX_WHOLE_FILE) file.refuse_as_too_large();
  std::string content;
  for (std::size_t used = 0;;) {
    if (content.size() - used < piece) content.resize(2 * content.size() + piece);
    const std::size_t count = file.read(content.data() + used, content.size() - used);
    used += count;
    if (used > MAX_WHOLE_FILE) file.refuse_as_too_large();
    if (count == 0) {
      content.resize(used);
      return content;
    }
  }
}

std::string beginning_of(const std::string& path, std::size_t most) {
  std::string bytes;
  try {
    InputFile file(path);
    std::array<char, std::size_t{1} << 14> piece;
    while (const std::size_t count =
               file.read(piece.data(), std::min(piece.size(), most - bytes.size()))) {
      bytes.append(piece.data(), count);
    }
  } catch (const std::system_error&) {
    bytes.clear();
  }
  return bytes;
}

}  // namespace structure_ingest::internal
