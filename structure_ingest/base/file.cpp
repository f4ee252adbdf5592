#include "structure_ingest/base/file.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <random>
#include <system_error>

#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/system_call.hpp"

namespace structure_ingest::internal {
namespace {

[[noreturn]] void fail(const char* what, const std::string& path, int error = errno) {
  throw std::filesystem::filesystem_error(what, path,
                                          std::error_code(error, std::generic_category()));
}

/// The C form of a path; one with a NUL character would be silently cut short.
const char* c_path(const std::string& path) {
  if (path.find('\0') != std::string::npos) fail("cannot use path", path, EINVAL);
  return path.c_str();
}

/// Opens a regular file, and refuses anything else.
int open_regular(const std::string& path, int flags, const char* what) {
  const int descriptor =
      retried([&] { return open(c_path(path), flags | O_CLOEXEC | O_NOCTTY, 0666); });
  if (descriptor < 0) fail(what, path);
  struct stat status {};
  const int error = fstat(descriptor, &status) != 0 ? errno
                    : S_ISDIR(status.st_mode)       ? EISDIR
                    : !S_ISREG(status.st_mode)      ? EINVAL
                                                    : 0;
  if (error != 0) {
    close(descriptor);
    fail(what, path, error);
  }
  return descriptor;
}

void write_all(int descriptor, std::string_view content, const std::string& path) {
  while (!content.empty()) {
    const ssize_t written =
        retried([&] { return ::write(descriptor, content.data(), content.size()); });
    if (written < 0) fail("cannot write", path);
    content.remove_prefix(static_cast<std::size_t>(written));
  }
}

void sync_folder(const std::string& folder) {
  const int descriptor =
      retried([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (descriptor < 0) return;  // a folder that may be written but not read cannot be synced
  fsync(descriptor);           // the new name is in place; some file systems cannot sync folders
  close(descriptor);
}

/// A file of an unused name in `folder`, removed again unless it is moved to its place.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& folder, const std::string& purpose) {
    std::random_device random;
    do {
      std::array<char, 48> name{};
      std::snprintf(name.data(), name.size(), ".structure_ingest-%08x%08x.tmp", random(), random());
      path_ = join_path(folder, name.data());
      descriptor_ = retried([&] {
        return open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
      });
    } while (descriptor_ < 0 && errno == EEXIST);
    if (descriptor_ < 0) fail("cannot write", purpose);
  }
  ~TemporaryFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (!path_.empty()) unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int descriptor() const { return descriptor_; }

  void move_to(const std::string& target) {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0 && errno != EINTR) fail("cannot write", target);
    if (rename(path_.c_str(), target.c_str()) != 0) fail("cannot replace", target);
    path_.clear();
  }

 private:
  std::string path_;
  int descriptor_ = -1;
};

}  // namespace

InputFile::InputFile(const std::string& path)
    // Without O_NONBLOCK opening a FIFO waits for a writer.
    : path_(path), descriptor_(open_regular(path, O_RDONLY | O_NONBLOCK, "cannot read")) {}

InputFile::~InputFile() {
  close(descriptor_);
}

std::size_t InputFile::read(char* buffer, std::size_t size) {
  const ssize_t count = retried([&] { return ::read(descriptor_, buffer, size); });
  if (count < 0) fail("cannot read", path_);
  return static_cast<std::size_t>(count);
}

std::string read_file(const std::string& path) {
  constexpr std::size_t piece = 1 << 16;
  InputFile file(path);
  std::string content;
  for (std::size_t used = 0;;) {
    if (content.size() - used < piece) content.resize(2 * content.size() + piece);
    const std::size_t count = file.read(content.data() + used, content.size() - used);
    used += count;
    if (count == 0) {
      content.resize(used);
      return content;
    }
  }
}

void replace_file(const std::string& path, std::string_view content) {
  const std::string folder = parent_folder(path);
  struct stat old {};
  const bool keeps_mode = lstat(c_path(path), &old) == 0 && S_ISREG(old.st_mode);
  TemporaryFile temporary(folder, path);
  if (keeps_mode) static_cast<void>(fchmod(temporary.descriptor(), old.st_mode & 0777));
  write_all(temporary.descriptor(), content, path);
  if (retried([&] { return fsync(temporary.descriptor()); }) != 0) fail("cannot write", path);
  temporary.move_to(path);
  sync_folder(folder);
}

void append_line(const std::string& path, const std::string& line) {
  const int descriptor = open_regular(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK,
                                      "cannot append to");
  const std::string text = line + '\n';
  const ssize_t written = retried([&] { return ::write(descriptor, text.data(), text.size()); });
  const int error = written < 0 ? errno : ENOSPC;
  close(descriptor);
  if (written != static_cast<ssize_t>(text.size())) fail("cannot append to", path, error);
}

FolderLock::FolderLock(const std::string& folder)
    : descriptor_(
          retried([&] { return open(c_path(folder), O_RDONLY | O_DIRECTORY | O_CLOEXEC); })) {
  if (descriptor_ < 0) fail("cannot lock", folder);
  if (retried([&] { return flock(descriptor_, LOCK_EX); }) != 0) {
    const int error = errno;
    close(descriptor_);
    fail("cannot lock", folder, error);
  }
}

FolderLock::~FolderLock() {
  close(descriptor_);
}

void create_folders(const std::string& path) {
  c_path(path);
  std::filesystem::create_directories(path);
}

}  // namespace structure_ingest::internal
