// Files: reading regular files in pieces or whole, and replacing a file as one step.
// All errors here are std::filesystem::filesystem_error, with the path and the system's reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// A regular file open for reading. Anything else (a folder, FIFO, device, socket, a file that the
/// kernel makes up such as those in /proc) is refused without waiting for it, and what is appended
/// after the opening is not read: so no name can make a reader hang or go on for ever.
class InputFile {
 public:
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// Reads up to `size` bytes into `buffer`; 0 at the end of the file.
  std::size_t read(char* buffer, std::size_t size);

  /// Goes on at `offset` bytes from the beginning, which must not be behind the size.
  void move_to(std::uint64_t offset);

  /// The size when it was opened; 0 where the file system does not know it.
  std::uint64_t size() const { return size_; }

  /// Gives the file up because what must be held of it at once exceeds any sensible amount.
  [[noreturn]] void refuse_as_too_large() const;

 private:
  std::string path_;
  int descriptor_;
  std::uint64_t size_;
  std::uint64_t used_ = 0;  // bytes read so far
};

/// The bytes of a regular file of up to one GiB; a larger one is an error.
std::string read_file(const std::string& path);

/// Whether the kernel makes the file at `path` up as it is read, as it does in /proc.
bool is_made_up_file(const std::string& path);

/// Creates `path` or replaces its whole content, so that a reader sees the old file or the new one
/// and a failure leaves the old one: a temporary file in the same folder takes its place once it is
/// on the disk. A symbolic link at `path` is replaced, not followed; the folder must exist, and is
/// not itself reached through a link in its place.
void replace_file(const std::string& path, std::string_view content);

/// The same for the file `relative` beneath the folder `root`: missing folders are created, and no
/// link beneath `root` is followed, so that nothing placed there can lead the file elsewhere.
void replace_file_beneath(const std::string& root, const std::string& relative,
                          std::string_view content);

/// Appends `line` and a line feed in one step, so that the lines of two writers never mix; creates
/// the file when it is missing, and refuses anything but a regular file, links to the file or in
/// the place of its folder included.
void append_line(const std::string& path, const std::string& line);

/// Keeps others that lock the same folder waiting, as long as it lives.
class FolderLock {
 public:
  explicit FolderLock(const std::string& folder);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int descriptor_;
};

/// Creates a folder with all missing parents; an existing folder is no error.
void create_folders(const std::string& path);

}  // namespace structure_ingest::internal
