#include "structure_ingest/base/replace_file.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "structure_ingest/base/descriptor.hpp"
#include "structure_ingest/base/open_file.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/system_call.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::string_view PREFIX = ".structure_ingest-";
constexpr std::size_t DIGITS = 16;
constexpr std::string_view SUFFIX = ".tmp";

std::string random_name() {
  std::uint64_t number = 0;
  if (getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) {
    // A predictable name is enough: it is created only if unused, and the next try has another one.
    number =
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
        static_cast<std::uint64_t>(getpid()) << 40;
  }
  std::array<char, DIGITS + 1> digits{};
  std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(number));
  return std::string(PREFIX).append(digits.data()).append(SUFFIX);
}

bool is_temporary_name(std::string_view name) {
  return name.size() == PREFIX.size() + DIGITS + SUFFIX.size() && name.starts_with(PREFIX) &&
         name.ends_with(SUFFIX) &&
         name.substr(PREFIX.size(), DIGITS).find_first_not_of("0123456789abcdef") ==
             std::string_view::npos;
}

/// A temporary file in an open folder, removed on destruction unless it was moved to its final
/// name. Errors name the file by `path`. The folder and the path must outlive it.
class TemporaryFile {
 public:
  TemporaryFile(const Descriptor& folder, const std::string& path, mode_t mode)
      : folder_(folder), path_(path) {
    constexpr int most_tries = 100;  // names are random: one try is enough on a sane file system
    for (int i = 0; i < most_tries; ++i) {
      name_ = random_name();
      file_ = open_at(folder_.number(), name_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
      if (file_.is_open() || errno != EEXIST) break;
    }
    if (!file_.is_open()) throw_file_error("cannot write", path);
  }
  ~TemporaryFile() {
    if (!moved_) unlinkat(folder_.number(), name_.c_str(), 0);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const Descriptor& descriptor() const { return file_; }

  /// Writes all of `content` and forces it to the disk.
  void write(std::string_view content) {
    while (!content.empty()) {
      const ssize_t written = write_some(file_, content);
      if (written < 0) throw_file_error("cannot write", path_);
      content.remove_prefix(static_cast<std::size_t>(written));
    }
    if (retried([&] { return fsync(file_.number()); }) != 0)
      throw_file_error("cannot write", path_);
  }

  /// Renames it to `name` in its folder, replacing an existing file.
  void move_to(const std::string& name) {
    if (close(file_.release()) != 0 && errno != EINTR) throw_file_error("cannot write", path_);
    if (renameat(folder_.number(), name_.c_str(), folder_.number(), name.c_str()) != 0) {
      throw_file_error("cannot replace", path_);
    }
    moved_ = true;
  }

 private:
  const Descriptor& folder_;
  const std::string& path_;
  std::string name_;
  Descriptor file_;
  bool moved_ = false;
};

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

/// Removes this user's temporary files that are older than a day, left by killed processes, from a
/// folder open for reading. Best effort: in a very large folder only some entries are examined, and
/// failures are ignored.
void remove_old_temporary_files(Descriptor folder) {
  constexpr int most_entries = 1000;
  constexpr std::time_t day = std::time_t{24} * 60 * 60;
  const std::unique_ptr<DIR, CloseFolder> entries(fdopendir(folder.number()));
  if (!entries) return;
  const int number = folder.release();  // closed with `entries`
  const std::time_t now = std::time(nullptr);
  for (int i = 0; i < most_entries; ++i) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread reads these entries.
    const dirent* const entry = readdir(entries.get());
    if (entry == nullptr) return;
    if (!is_temporary_name(entry->d_name)) continue;
    struct stat status {};
    const bool is_old = fstatat(number, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                        S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
                        status.st_mtime < now - day;
    if (is_old) unlinkat(number, entry->d_name, 0);
  }
}

/// Gives a new file the owner, the group and the permissions of the old one.
void copy_access(const Descriptor& file, const struct stat& old) {
  mode_t mode = old.st_mode & 0777;
  // Only root can change the owner. Other users can set a group that they belong to.
  const bool has_old_group = fchown(file.number(), old.st_uid, old.st_gid) == 0 ||
                             fchown(file.number(), static_cast<uid_t>(-1), old.st_gid) == 0;
  // Without the old group, its permissions would apply to another group: give that group those of
  // others.
  if (!has_old_group) mode &= 0707 | (mode & 0007) << 3;
  static_cast<void>(fchmod(file.number(), mode));
}

/// Replaces the file `name` in `folder`; errors name it by `path`.
void replace_in(const Descriptor& folder, const std::string& name, std::string_view content,
                const std::string& path) {
  struct stat old {};
  const bool keeps_access =
      fstatat(folder.number(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0 &&
      S_ISREG(old.st_mode);
  // Keep others out until the file has the old file's permissions.
  TemporaryFile temporary(folder, path, keeps_access ? 0600 : 0666);
  if (keeps_access) copy_access(temporary.descriptor(), old);
  temporary.write(content);
  temporary.move_to(name);
  Descriptor readable = open_at(folder.number(), ".", O_RDONLY | O_DIRECTORY);
  // Best effort: a folder that may be written but not read cannot be synced, and some file systems
  // cannot sync folders. The rename itself has succeeded.
  if (!readable.is_open()) return;
  fsync(readable.number());
  remove_old_temporary_files(std::move(readable));
}

}  // namespace

void replace_file(const std::string& path, std::string_view content) {
  const std::string normal = path_text(c_path(path));
  replace_in(open_folder_of(path, AT_FDCWD, parent_folder(normal)), file_name(normal), content,
             path);
}

void replace_file_beneath(const std::string& root, const std::string& relative,
                          std::string_view content) {
  const std::string path = join_path(root, relative);
  create_folders(root);
  Descriptor folder = open_at(AT_FDCWD, root, O_PATH | O_DIRECTORY);
  if (!folder.is_open()) throw_file_error("cannot write", path);
  std::size_t start = 0;
  for (std::size_t slash = 0; (slash = relative.find('/', start)) != std::string::npos;
       start = slash + 1) {
    const std::string name = relative.substr(start, slash - start);
    if (mkdirat(folder.number(), name.c_str(), 0777) != 0 && errno != EEXIST) {
      throw_file_error("cannot write", path);
    }
    folder = open_folder_of(path, folder.number(), name);
  }
  replace_in(folder, relative.substr(start), content, path);
}

void create_folders(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(c_path(path), error);
  if (error) throw_file_error("cannot create directories", path, error.value());
}

}  // namespace structure_ingest::internal
