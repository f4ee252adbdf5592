#include "structure_ingest/cache/file_store.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <new>
#include <tuple>
#include <utility>
#include <vector>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/temporary_file.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::string_view HEAD = "structure_ingest kept 1\n";
constexpr std::size_t KEY_DIGITS = 64;
constexpr std::size_t SHARD_DIGITS = 2;  // the folder of an entry
constexpr std::size_t DIGEST_BYTES = 32;
constexpr std::size_t OVERHEAD = HEAD.size() + KEY_DIGITS + DIGEST_BYTES;

constexpr const char* COUNTS_FILE = "counts";
constexpr const char* TRIMMED_FILE = "trimmed";
constexpr std::uint64_t MOST_COUNTS = std::uint64_t{1} << 16;  // bytes, before they are summed

constexpr std::time_t SECONDS_BETWEEN_TRIMS = 60;
constexpr std::time_t SECONDS_BETWEEN_TOUCHES = 60;  // of an entry that is used often
constexpr std::time_t TEMPORARY_SECONDS = 3600;      // after which nobody writes to it any more

bool is_hexadecimal(std::string_view text, std::size_t digits) {
  return text.size() == digits && std::all_of(text.begin(), text.end(), [](char c) {
           return is_digit(c) || (c >= 'a' && c <= 'f');
         });
}

/// Whether only this user can have written a file or folder.
bool is_ours_alone(const struct stat& status) {
  return status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

std::optional<struct stat> status_of(const Descriptor& file) {
  struct stat status {};
  if (!file.is_open() || fstat(file.number(), &status) != 0) return std::nullopt;
  return status;
}

/// Opens the regular file of an entry; only one that this user alone can have written.
Descriptor open_ours(const Descriptor& folder, const std::string& name) {
  Descriptor file = open_at(folder.number(), name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  const std::optional<struct stat> status = status_of(file);
  const bool is_good = status && S_ISREG(status->st_mode) && is_ours_alone(*status);
  return is_good ? std::move(file) : Descriptor();
}

/// The next `size` bytes of a file, or fewer.
std::string read_bytes(const Descriptor& file, std::uint64_t size) {
  std::string bytes(size, '\0');
  std::size_t used = 0;
  while (used < bytes.size()) {
    const ssize_t count =
        retried([&] { return read(file.number(), bytes.data() + used, bytes.size() - used); });
    if (count <= 0) break;
    used += static_cast<std::size_t>(count);
  }
  bytes.resize(used);
  return bytes;
}

bool write_bytes(const Descriptor& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write_some(file, bytes);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// The names in a folder; none when it cannot be read.
std::vector<std::string> names_in(const Descriptor& folder, const std::string& name) {
  std::vector<std::string> names;
  Descriptor opened = open_at(folder.number(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (!opened.is_open()) return names;
  DIR* const listing = fdopendir(opened.number());
  if (listing == nullptr) return names;
  opened.release();
  while (const dirent* const entry = readdir(listing)) names.emplace_back(entry->d_name);
  closedir(listing);
  return names;
}

/// A file of the store: an entry, or the temporary file of one.
struct StoredFile {
  std::string path;  // beneath the folder
  std::time_t used = 0;
  std::uint64_t bytes = 0;
  bool is_entry = true;
};

bool is_temporary(const std::string& name) {
  return name.starts_with(".kept-");
}

std::vector<StoredFile> files_in(const Descriptor& folder) {
  std::vector<StoredFile> files;
  for (const std::string& shard : names_in(folder, ".")) {
    if (!is_hexadecimal(shard, SHARD_DIGITS)) continue;
    for (const std::string& name : names_in(folder, shard)) {
      const bool is_entry = is_hexadecimal(name, KEY_DIGITS - SHARD_DIGITS);
      if (!is_entry && !is_temporary(name)) continue;
      std::string path = shard + "/" + name;
      struct stat status {};
      if (fstatat(folder.number(), path.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
      files.push_back({.path = std::move(path),
                       .used = status.st_mtim.tv_sec,
                       .bytes = static_cast<std::uint64_t>(status.st_blocks) * 512,
                       .is_entry = is_entry});
    }
  }
  return files;
}

/// Renames a file of these bytes to `path` beneath the folder.
bool replace(const Descriptor& folder, const std::string& path, std::string_view bytes,
             std::string_view more = {}) {
  const std::string temporary = parent_folder(path) + "/.kept-" + std::to_string(random_number());
  const Descriptor file =
      open_at(folder.number(), temporary, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  if (!file.is_open()) return false;
  const bool is_written =
      write_bytes(file, bytes) && write_bytes(file, more) &&
      renameat(folder.number(), temporary.c_str(), folder.number(), path.c_str()) == 0;
  if (!is_written) unlinkat(folder.number(), temporary.c_str(), 0);
  return is_written;
}

std::string path_of(const std::string& key) {
  return key.substr(0, SHARD_DIGITS) + "/" + key.substr(SHARD_DIGITS);
}

/// The sums of the lines "found missed".
std::pair<std::uint64_t, std::uint64_t> sums_of(const Descriptor& folder) {
  std::pair<std::uint64_t, std::uint64_t> sums;
  const Descriptor file = open_ours(folder, COUNTS_FILE);
  if (!file.is_open()) return sums;
  const std::string lines = read_bytes(file, 2 * MOST_COUNTS);
  const char* const end = lines.data() + lines.size();
  for (const char* at = lines.data(); at < end; ++at) {
    std::uint64_t found = 0;
    std::uint64_t missed = 0;
    at = std::from_chars(at, end, found).ptr;
    if (at == end || *at != ' ') break;
    at = std::from_chars(at + 1, end, missed).ptr;
    sums.first += found;
    sums.second += missed;
  }
  return sums;
}

std::string line_of(std::uint64_t found, std::uint64_t missed) {
  return std::to_string(found) + " " + std::to_string(missed) + "\n";
}

}  // namespace

std::unique_ptr<FileStore> FileStore::open(const std::string& folder, std::uint64_t most_bytes) {
  if (!is_absolute(folder)) return nullptr;
  std::string made;
  for (std::size_t end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
    made = folder.substr(0, end);
    if (mkdir(made.c_str(), 0700) != 0 && errno != EEXIST && end == std::string::npos) {
      return nullptr;
    }
    if (end == std::string::npos) break;
  }
  Descriptor opened = open_at(AT_FDCWD, folder, O_RDONLY | O_DIRECTORY);
  const std::optional<struct stat> status = status_of(opened);
  if (!status || !is_ours_alone(*status)) return nullptr;
  return std::unique_ptr<FileStore>(new FileStore(std::move(opened), most_bytes));
}

FileStore::FileStore(Descriptor folder, std::uint64_t most_bytes)
    : folder_(std::move(folder)), most_bytes_(most_bytes) {}

FileStore::~FileStore() {
  try {
    save_counts();
    struct stat status {};
    const bool was_trimmed = fstatat(folder_.number(), TRIMMED_FILE, &status, 0) == 0 &&
                             std::time(nullptr) - status.st_mtim.tv_sec < SECONDS_BETWEEN_TRIMS;
    if (kept_ > 0 && !was_trimmed) trim();
  } catch (const std::bad_alloc&) {
  }
}

std::optional<std::string> FileStore::find(const std::string& key) {
  const std::string path = path_of(key);
  const Descriptor file = open_ours(folder_, path);
  const std::optional<struct stat> status = status_of(file);
  if (!status) return std::nullopt;
  const auto size = static_cast<std::uint64_t>(status->st_size);
  std::string bytes = size <= most_bytes_ / 8 + OVERHEAD ? read_bytes(file, size) : std::string();
  const bool is_whole =
      bytes.size() >= OVERHEAD && bytes.starts_with(HEAD) &&
      std::string_view(bytes).substr(HEAD.size(), KEY_DIGITS) == key &&
      std::string_view(bytes).substr(bytes.size() - DIGEST_BYTES) ==
          sha256_bytes(std::string_view(bytes).substr(0, bytes.size() - DIGEST_BYTES));
  if (!is_whole) {
    unlinkat(folder_.number(), path.c_str(), 0);
    return std::nullopt;
  }
  const std::time_t now = std::time(nullptr);
  if (now - status->st_mtim.tv_sec >= SECONDS_BETWEEN_TOUCHES) futimens(file.number(), nullptr);
  bytes.erase(bytes.size() - DIGEST_BYTES);
  bytes.erase(0, HEAD.size() + KEY_DIGITS);
  return bytes;
}

void FileStore::keep(const std::string& key, std::string_view bytes) {
  if (is_full_ || bytes.size() > most_bytes_ / 8) return;
  const std::string path = path_of(key);
  mkdirat(folder_.number(), parent_folder(path).c_str(), 0700);
  std::string entry;
  entry.reserve(bytes.size() + OVERHEAD);
  entry.append(HEAD).append(key).append(bytes);
  if (!replace(folder_, path, entry, sha256_bytes(entry))) {
    is_full_ = true;
    return;
  }
  kept_ += entry.size();
  if (kept_ > most_bytes_ / 16) trim();
}

void FileStore::save_counts() {
  if (found_ == 0 && missed_ == 0) return;
  const Descriptor file = open_at(folder_.number(), COUNTS_FILE,
                                  O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (file.is_open()) write_bytes(file, line_of(found_, missed_));
  found_ = missed_ = 0;
}

void FileStore::trim() {
  kept_ = 0;
  const Descriptor marker =
      open_at(folder_.number(), TRIMMED_FILE, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (marker.is_open()) futimens(marker.number(), nullptr);

  std::vector<StoredFile> files = files_in(folder_);
  std::uint64_t total = 0;
  const std::time_t now = std::time(nullptr);
  for (const StoredFile& file : files) {
    total += file.bytes;
    if (!file.is_entry && now - file.used > TEMPORARY_SECONDS) {
      unlinkat(folder_.number(), file.path.c_str(), 0);
    }
  }
  if (total > most_bytes_) {
    std::sort(files.begin(), files.end(),
              [](const StoredFile& a, const StoredFile& b) { return a.used < b.used; });
    for (const StoredFile& file : files) {
      if (total <= most_bytes_ - most_bytes_ / 8) break;
      if (!file.is_entry || unlinkat(folder_.number(), file.path.c_str(), 0) != 0) continue;
      total -= std::min(total, file.bytes);
    }
  }
  // Counts that another process adds meanwhile are lost, which matters to nobody.
  struct stat counts {};
  if (fstatat(folder_.number(), COUNTS_FILE, &counts, AT_SYMLINK_NOFOLLOW) == 0 &&
      static_cast<std::uint64_t>(counts.st_size) > MOST_COUNTS) {
    const auto [found, missed] = sums_of(folder_);
    replace(folder_, std::string("./") + COUNTS_FILE, line_of(found, missed));
  }
}

FileStore::Status FileStore::status() const {
  Status status;
  for (const StoredFile& file : files_in(folder_)) {
    status.entries += file.is_entry ? 1 : 0;
    status.bytes += file.bytes;
  }
  std::tie(status.found, status.missed) = sums_of(folder_);
  return status;
}

void FileStore::clear() {
  for (const StoredFile& file : files_in(folder_)) {
    unlinkat(folder_.number(), file.path.c_str(), 0);
  }
  for (const char* name : {COUNTS_FILE, TRIMMED_FILE}) unlinkat(folder_.number(), name, 0);
  for (const std::string& shard : names_in(folder_, ".")) {
    if (is_hexadecimal(shard, SHARD_DIGITS)) {
      unlinkat(folder_.number(), shard.c_str(), AT_REMOVEDIR);
    }
  }
}

}  // namespace structure_ingest::internal
