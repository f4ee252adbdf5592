// Reads regular files, in pieces or whole. All errors here are std::filesystem::filesystem_error,
// with the path and the system's reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "structure_ingest/base/descriptor.hpp"

namespace structure_ingest::internal {

/// A regular file open for reading. Everything else (a folder, FIFO, device, socket, a file in
/// /proc or /sys) is refused without waiting for it, and bytes appended after the opening are not
/// read: no path can make a reader hang or read for ever.
class InputFile {
 public:
  explicit InputFile(const std::string& path);

  /// Reads up to `size` bytes into `buffer`; 0 at the end of the file.
  std::size_t read(char* buffer, std::size_t size);

  /// Continues at `offset` bytes from the beginning, at most the size.
  void move_to(std::uint64_t offset);

  /// The size when the file was opened; 0 where the file system does not know it.
  std::uint64_t size() const { return size_; }

  /// Throws the error of a file that is too large to keep the part in memory that is needed at
  /// once.
  [[noreturn]] void refuse_as_too_large() const;

 private:
  std::string path_;
  Descriptor file_;
  std::uint64_t size_ = 0;
  std::uint64_t used_ = 0;  // bytes read so far
};

/// The largest file that is read whole, in bytes: one GiB.
inline constexpr std::size_t MAX_WHOLE_FILE = std::size_t{1} << 30;

/// The bytes of a regular file of up to MAX_WHOLE_FILE; a larger one is an error.
std::string read_file(const std::string& path);

}  // namespace structure_ingest::internal
