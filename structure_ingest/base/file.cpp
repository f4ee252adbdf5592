#include "structure_ingest/base/file.hpp"

#include <fcntl.h>
#include <linux/magic.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/system_call.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::size_t MAX_WHOLE_FILE = std::size_t{1} << 30;

[[noreturn]] void fail(const char* what, const std::string& path, int error = errno) {
  throw std::filesystem::filesystem_error(what, path,
                                          std::error_code(error, std::generic_category()));
}

/// The C form of a path; one with a NUL character would be silently cut short.
const char* c_path(const std::string& path) {
  if (path.find('\0') != std::string::npos) fail("cannot use path", path, EINVAL);
  return path.c_str();
}

/// An open file or folder, closed at the end.
class Descriptor {
 public:
  explicit Descriptor(int value) : value_(value) {}
  Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Descriptor() {
    if (value_ >= 0) close(value_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return value_; }
  int release() { return std::exchange(value_, -1); }

 private:
  int value_;
};

/// Opens a file in `folder` (AT_FDCWD: at a path); the descriptor is negative on failure.
Descriptor open_at(int folder, const std::string& name, int flags) {
  return Descriptor(
      retried([&] { return openat(folder, c_path(name), flags | O_CLOEXEC | O_NOCTTY, 0666); }));
}

/// Whether a file system holds what the kernel makes up: such a file may have no end, and its size
/// says nothing.
bool is_made_up(const struct statfs& system) {
  const auto type = static_cast<unsigned long>(system.f_type);
  return type == PROC_SUPER_MAGIC || type == SYSFS_MAGIC || type == DEBUGFS_MAGIC ||
         type == TRACEFS_MAGIC;
}

/// What keeps an open file from being used as a regular file; 0 for nothing.
int objection(const Descriptor& file, struct stat& status) {
  if (file.get() < 0 || fstat(file.get(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  struct statfs system {};
  if (fstatfs(file.get(), &system) != 0) return errno;
  return !S_ISREG(status.st_mode) || is_made_up(system) ? EINVAL : 0;
}

/// Holds back the signal that a file beyond the process's size limit raises, which would end the
/// process: the write fails like any other.
class NoSizeSignal {
 public:
  NoSizeSignal() {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signal_, &old_);
  }
  ~NoSizeSignal() {
    const int error = errno;
    const timespec at_once{};
    if (sigismember(&old_, SIGXFSZ) == 0) sigtimedwait(&signal_, nullptr, &at_once);
    pthread_sigmask(SIG_SETMASK, &old_, nullptr);
    errno = error;
  }
  NoSizeSignal(const NoSizeSignal&) = delete;
  NoSizeSignal& operator=(const NoSizeSignal&) = delete;

 private:
  sigset_t signal_{};
  sigset_t old_{};
};

ssize_t write_once(int descriptor, std::string_view text) {
  const NoSizeSignal no_signal;
  return retried([&] { return ::write(descriptor, text.data(), text.size()); });
}

void write_all(int descriptor, std::string_view content, const std::string& path) {
  while (!content.empty()) {
    const ssize_t written = write_once(descriptor, content);
    if (written < 0) fail("cannot write", path);
    content.remove_prefix(static_cast<std::size_t>(written));
  }
}

void sync_folder(const Descriptor& folder) {
  const Descriptor readable = open_at(folder.get(), ".", O_RDONLY | O_DIRECTORY);
  // A folder that may be written but not read cannot be synced, and some file systems cannot sync
  // folders; the new name is in place all the same.
  if (readable.get() >= 0) fsync(readable.get());
}

/// A folder to write to, by its name in `parent`; a link in its place is refused.
Descriptor open_folder(int parent, const std::string& name, const std::string& purpose) {
  Descriptor folder = open_at(parent, name, O_PATH | O_DIRECTORY | O_NOFOLLOW);
  if (folder.get() >= 0) return folder;
  const int error = errno;
  struct stat status {};
  const bool is_link =
      fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
  if (is_link) fail("cannot write through a symbolic link", purpose, ELOOP);
  fail("cannot write", purpose, error);
}

/// A file of an unused name in `folder`, removed again unless it is moved to its place.
class TemporaryFile {
 public:
  TemporaryFile(const Descriptor& folder, const std::string& purpose)
      : folder_(folder), purpose_(purpose) {
    std::random_device random;
    do {
      std::snprintf(name_.data(), name_.size(), ".structure_ingest-%08x%08x.tmp", random(),
                    random());
      file_ = open_at(folder_.get(), name_.data(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW);
    } while (file_.get() < 0 && errno == EEXIST);
    if (file_.get() < 0) fail("cannot write", purpose);
  }
  ~TemporaryFile() {
    if (!moved_) unlinkat(folder_.get(), name_.data(), 0);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int descriptor() const { return file_.get(); }

  void move_to(const std::string& name) {
    if (close(file_.release()) != 0 && errno != EINTR) fail("cannot write", purpose_);
    if (renameat(folder_.get(), name_.data(), folder_.get(), name.c_str()) != 0) {
      fail("cannot replace", purpose_);
    }
    moved_ = true;
  }

 private:
  const Descriptor& folder_;
  const std::string& purpose_;
  std::array<char, 48> name_{};
  Descriptor file_{-1};
  bool moved_ = false;
};

/// Replaces the file `name` in `folder`; errors name it by `path`.
void replace_in(const Descriptor& folder, const std::string& name, std::string_view content,
                const std::string& path) {
  struct stat old {};
  const bool keeps_mode =
      fstatat(folder.get(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(old.st_mode);
  TemporaryFile temporary(folder, path);
  if (keeps_mode) static_cast<void>(fchmod(temporary.descriptor(), old.st_mode & 0777));
  write_all(temporary.descriptor(), content, path);
  if (retried([&] { return fsync(temporary.descriptor()); }) != 0) fail("cannot write", path);
  temporary.move_to(name);
  sync_folder(folder);
}

}  // namespace

InputFile::InputFile(const std::string& path) : path_(path), descriptor_(-1), size_(0) {
  // Without O_NONBLOCK opening a FIFO waits for a writer.
  Descriptor file = open_at(AT_FDCWD, path, O_RDONLY | O_NONBLOCK);
  struct stat status {};
  if (const int error = objection(file, status); error != 0) fail("cannot read", path, error);
  size_ = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
  descriptor_ = file.release();
}

InputFile::~InputFile() {
  close(descriptor_);
}

void InputFile::move_to(std::uint64_t offset) {
  if (lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) < 0) fail("cannot read", path_);
  used_ = offset;
}

std::size_t InputFile::read(char* buffer, std::size_t size) {
  const std::size_t wanted =
      size_ == 0 ? size : static_cast<std::size_t>(std::min<std::uint64_t>(size, size_ - used_));
  if (wanted == 0) return 0;
  const ssize_t count = retried([&] { return ::read(descriptor_, buffer, wanted); });
  if (count < 0) fail("cannot read", path_);
  used_ += static_cast<std::uint64_t>(count);
  return static_cast<std::size_t>(count);
}

void InputFile::refuse_as_too_large() const {
  fail("cannot read", path_, EFBIG);
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

bool is_made_up_file(const std::string& path) {
  struct statfs system {};
  return retried([&] { return statfs(c_path(path), &system); }) == 0 && is_made_up(system);
}

void replace_file(const std::string& path, std::string_view content) {
  const std::string text = path_text(c_path(path));
  replace_in(open_folder(AT_FDCWD, parent_folder(text), path), file_name(text), content, path);
}

void replace_file_beneath(const std::string& root, const std::string& relative,
                          std::string_view content) {
  const std::string path = join_path(root, relative);
  create_folders(root);
  Descriptor folder = open_at(AT_FDCWD, root, O_PATH | O_DIRECTORY);
  if (folder.get() < 0) fail("cannot write", path);
  std::size_t start = 0;
  for (std::size_t slash = 0; (slash = relative.find('/', start)) != std::string::npos;
       start = slash + 1) {
    const std::string name = relative.substr(start, slash - start);
    if (mkdirat(folder.get(), name.c_str(), 0777) != 0 && errno != EEXIST) {
      fail("cannot write", path);
    }
    folder = open_folder(folder.get(), name, path);
  }
  replace_in(folder, relative.substr(start), content, path);
}

void append_line(const std::string& path, const std::string& line) {
  constexpr const char* what = "cannot append to";
  const std::string normal = path_text(c_path(path));
  const Descriptor folder = open_folder(AT_FDCWD, parent_folder(normal), path);
  Descriptor file = open_at(folder.get(), file_name(normal),
                            O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK);
  struct stat status {};
  if (const int error = objection(file, status); error != 0) fail(what, path, error);
  const std::string text = line + '\n';
  const ssize_t written = write_once(file.get(), text);
  if (written < 0) fail(what, path);
  if (written != static_cast<ssize_t>(text.size())) fail(what, path, ENOSPC);
}

FolderLock::FolderLock(const std::string& folder) : descriptor_(-1) {
  Descriptor opened = open_at(AT_FDCWD, folder, O_RDONLY | O_DIRECTORY);
  if (opened.get() < 0 || retried([&] { return flock(opened.get(), LOCK_EX); }) != 0) {
    fail("cannot lock", folder);
  }
  descriptor_ = opened.release();
}

FolderLock::~FolderLock() {
  close(descriptor_);
}

void create_folders(const std::string& path) {
  c_path(path);
  std::filesystem::create_directories(path);
}

}  // namespace structure_ingest::internal
