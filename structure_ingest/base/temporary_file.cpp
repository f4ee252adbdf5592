#include "structure_ingest/base/temporary_file.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>

#include "structure_ingest/base/open_file.hpp"
#include "structure_ingest/base/system_call.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::string_view PREFIX = ".structure_ingest-";
constexpr std::size_t DIGITS = 16;
constexpr std::string_view SUFFIX = ".tmp";

std::string random_name() {
  std::uint64_t number = 0;
  if (getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) {
    // The file is created only under an unused name: the next try has another one.
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

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

}  // namespace

TemporaryFile::TemporaryFile(const Descriptor& folder, const std::string& path, mode_t mode)
    : folder_(folder), path_(path) {
  constexpr int most_tries = 100;  // one is enough, unless the file system answers nonsense
  for (int i = 0; i < most_tries; ++i) {
    name_ = random_name();
    file_ = open_at(folder_.number(), name_, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
    if (file_.is_open() || errno != EEXIST) break;
  }
  if (!file_.is_open()) throw_file_error("cannot write", path);
}

TemporaryFile::~TemporaryFile() {
  if (!moved_) unlinkat(folder_.number(), name_.c_str(), 0);
}

void TemporaryFile::write(std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write_some(file_, content);
    if (written < 0) throw_file_error("cannot write", path_);
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  if (retried([&] { return fsync(file_.number()); }) != 0) throw_file_error("cannot write", path_);
}

void TemporaryFile::move_to(const std::string& name) {
  if (close(file_.release()) != 0 && errno != EINTR) throw_file_error("cannot write", path_);
  if (renameat(folder_.number(), name_.c_str(), folder_.number(), name.c_str()) != 0) {
    throw_file_error("cannot replace", path_);
  }
  moved_ = true;
}

void remove_old_temporary_files(Descriptor folder) {
  constexpr int most_entries = 1000;
  constexpr std::time_t day = 24 * 60 * 60;
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

}  // namespace structure_ingest::internal
