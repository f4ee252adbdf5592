// The temporary files through which files are replaced, and how they are forced to the disk.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {

inline constexpr const char* CANNOT_WRITE = "cannot write";

/// A random number for the name of a temporary file.
std::uint64_t random_number();

/// The new content of a file, in a temporary file beside it that is removed on destruction unless
/// it was moved to the file's name. The folder must stay open meanwhile.
class TemporaryFile {
 public:
  /// Creates the temporary file for the file `name` in `folder`, with a name formed from `number`,
  /// or from a random number if that name is taken. It gets the owner, the group and the
  /// permissions of an existing file as far as the system allows it. Errors name the file by
  /// `path`.
  TemporaryFile(const Descriptor& folder, std::string name, std::string path,
                std::uint64_t number = random_number());
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const Descriptor& descriptor() const { return file_; }

  /// Writes all of `content`, not yet durably.
  void write(std::string_view content);

  /// Renames it to the file's name, replacing an existing file; call it when the content is on the
  /// disk. Returns what failed, with the reason in errno, or null. Allocates no memory.
  const char* move_to_name();

 private:
  const Descriptor& folder_;
  std::string name_;
  std::string path_;
  std::string temporary_name_;
  Descriptor file_;
  bool moved_ = false;
};

/// Forces the names in an open folder to the disk, and removes this user's temporary files that are
/// older than a day, left by killed processes. Best effort: the names are already what they are to
/// be, some folders may not be read and some file systems cannot sync folders. In a very large
/// folder only some entries are examined.
void sync_folder(const Descriptor& folder);

/// Forces open files to the disk, each with its own result, as fsync(2) does. One by one, each file
/// waits for the disk's cache to be flushed; many at once share that wait. Use it on one thread at
/// a time.
class FileSyncs {
 public:
  /// The most files of one call.
  static constexpr std::size_t MOST = 64;

  FileSyncs() = default;
  ~FileSyncs();
  FileSyncs(const FileSyncs&) = delete;
  FileSyncs& operator=(const FileSyncs&) = delete;

  /// Sets each of `errors` to 0 or to the error number of the file at its place. Allocates no
  /// memory.
  void sync(std::span<const int> files, std::span<int> errors);

 private:
  std::size_t sync_at_once(std::span<const int> files, std::span<int> errors);

  unsigned long context_ = 0;  // of the kernel; 0 when there is none
  bool is_refused_ = false;
};

}  // namespace structure_ingest::internal
