#include "structure_ingest/base/open_file.hpp"

#include <linux/limits.h>
#include <linux/magic.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <system_error>

#include "structure_ingest/base/system_call.hpp"
#include "structure_ingest/base/text.hpp"

namespace structure_ingest::internal {
namespace {

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

std::filesystem::filesystem_error file_error(const char* what, const std::string& path, int error) {
  return {what, shortened(path, PATH_MAX), std::error_code(error, std::generic_category())};
}

void throw_file_error(const char* what, const std::string& path, int error) {
  throw file_error(what, path, error);
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

}  // namespace structure_ingest::internal
