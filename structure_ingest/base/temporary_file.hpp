// The temporary files through which files are replaced.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "structure_ingest/base/descriptor.hpp"

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

}  // namespace structure_ingest::internal
