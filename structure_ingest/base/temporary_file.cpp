#include "structure_ingest/base/temporary_file.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <linux/aio_abi.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <utility>

#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::string_view PREFIX = ".structure_ingest-";
constexpr std::size_t DIGITS = 16;
constexpr std::string_view SUFFIX = ".tmp";

std::string name_from(std::uint64_t number) {
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

/// Gives a new file the owner, the group and the permissions of the old one.
void copy_access(const Descriptor& file, const struct stat& old) {
  mode_t mode = old.st_mode & 0777;
  // Without the old group, its permissions would apply to another group: give that group those of
  // others.
  if (!take_owner_of(file, old)) mode &= 0707 | (mode & 0007) << 3;
  static_cast<void>(fchmod(file.number(), mode));
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

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
                        // One of a day to come was left before the clock was set back.
                        std::abs(status.st_mtime - now) > day;
    if (is_old) unlinkat(number, entry->d_name, 0);
  }
}

/// To end the kernel's context takes some 30 ms, which fewer files do not repay.
constexpr std::size_t FEWEST_AT_ONCE = 16;

int sync_one(int file) {
  return retried([&] { return fsync(file); }) == 0 ? 0 : errno;
}

}  // namespace

std::uint64_t random_number() {
  std::uint64_t number = 0;
  if (getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) {
    // A predictable name is enough: it is created only if unused, and the next try has another one.
    number =
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
        static_cast<std::uint64_t>(getpid()) << 40;
  }
  return number;
}

TemporaryFile::TemporaryFile(const Descriptor& folder, std::string name, std::string path,
                             std::uint64_t number)
    : folder_(folder), name_(std::move(name)), path_(std::move(path)) {
  struct stat old {};
  const bool keeps_access =
      fstatat(folder.number(), c_path(name_), &old, AT_SYMLINK_NOFOLLOW) == 0 &&
      S_ISREG(old.st_mode);
  // Keep others out until the file has the old file's permissions.
  const mode_t mode = keeps_access ? 0600 : 0666;
  constexpr int most_tries = 100;  // names are random: one try is enough on a sane file system
  for (int i = 0; i < most_tries; ++i) {
    temporary_name_ = name_from(i == 0 ? number : random_number());
    file_ =
        open_at(folder.number(), temporary_name_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    if (file_.is_open() || errno != EEXIST) break;
  }
  if (!file_.is_open()) throw_file_error(CANNOT_WRITE, path_);
  if (keeps_access) copy_access(file_, old);
}

TemporaryFile::~TemporaryFile() {
  if (!moved_ && !temporary_name_.empty()) unlinkat(folder_.number(), temporary_name_.c_str(), 0);
}

void TemporaryFile::write(std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write_some(file_, content);
    if (written < 0) throw_file_error(CANNOT_WRITE, path_);
    content.remove_prefix(static_cast<std::size_t>(written));
  }
}

const char* TemporaryFile::move_to_name() {
  if (close(file_.release()) != 0 && errno != EINTR) return CANNOT_WRITE;
  if (renameat(folder_.number(), temporary_name_.c_str(), folder_.number(), name_.c_str()) != 0) {
    return "cannot replace";
  }
  moved_ = true;
  return nullptr;
}

void sync_folder(const Descriptor& folder) {
  Descriptor readable = open_at(folder.number(), ".", O_RDONLY | O_DIRECTORY);
  if (!readable.is_open()) return;
  fsync(readable.number());
  remove_old_temporary_files(std::move(readable));
}

// Linux syncs many files at once through its asynchronous input and output (io_submit(2)), on
// threads of the kernel: this process needs none. syncfs(2) would wait for the disk only once, but
// also for whatever else everybody has written to the file system, and it does not tell which file
// failed.
FileSyncs::~FileSyncs() {
  if (context_ != 0) syscall(SYS_io_destroy, context_);
}

void FileSyncs::sync(std::span<const int> files, std::span<int> errors) {
  const std::size_t done = files.size() < FEWEST_AT_ONCE ? 0 : sync_at_once(files, errors);
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (i >= done || errors[i] == EINTR) errors[i] = sync_one(files[i]);
  }
}

/// Returns how many of the files, from the first, have their results; 0 where the kernel or a
/// sandbox refuses.
std::size_t FileSyncs::sync_at_once(std::span<const int> files, std::span<int> errors) {
  if (context_ == 0 && !is_refused_) {
    is_refused_ = syscall(SYS_io_setup, MOST, &context_) != 0;
  }
  if (is_refused_) return 0;
  std::array<iocb, MOST> requests{};
  std::array<iocb*, MOST> list{};
  for (std::size_t i = 0; i < files.size(); ++i) {
    requests[i].aio_lio_opcode = IOCB_CMD_FSYNC;
    requests[i].aio_fildes = static_cast<std::uint32_t>(files[i]);
    requests[i].aio_data = i;
    list[i] = &requests[i];
  }
  // It takes fewer than all when it refuses one of them.
  const long taken = retried([&] {
    return syscall(SYS_io_submit, context_, static_cast<long>(files.size()), list.data());
  });
  if (taken <= 0) {
    is_refused_ = true;
    return 0;
  }
  std::fill_n(errors.begin(), taken, EIO);  // unless the kernel tells otherwise
  for (long finished = 0; finished < taken;) {
    std::array<io_event, MOST> events{};
    const long count = retried([&] {
      return syscall(SYS_io_getevents, context_, taken - finished, taken - finished, events.data(),
                     nullptr);
    });
    if (count <= 0) break;
    for (long i = 0; i < count; ++i) {
      const io_event& event = events[static_cast<std::size_t>(i)];
      errors[static_cast<std::size_t>(event.data)] =
          event.res < 0 ? static_cast<int>(-event.res) : 0;
    }
    finished += count;
  }
  return static_cast<std::size_t>(taken);
}

}  // namespace structure_ingest::internal
