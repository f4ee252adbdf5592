// Writes files so that neither a crash nor another program leaves them damaged: replaces them
// atomically, appends whole lines to logs, and locks their folders. All errors here are
// std::filesystem::filesystem_error, with the path and the system's reason.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/temporary_file.hpp"
#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest::internal {

/// Creates `path` or replaces its content, so that a reader sees the old file or the new one, and a
/// failure leaves the old one: writes a temporary file in the same folder, forces it to the disk
/// and renames it. Keeps the old file's permissions, and its owner and group where the system
/// allows it. A symbolic link at `path` is replaced, not followed; the folder must exist and must
/// not be a symbolic link itself.
void replace_file(const std::string& path, std::string_view content);

/// As above; `write` hands the content over piece by piece. What it throws leaves the old file.
void replace_file(const std::string& path, const std::function<void(const TextSink&)>& write);

/// Replaces many files of one folder as above. Each is still old or new at every instant, and new
/// only once its content is on the disk; but they wait for the disk together, which takes little
/// longer than one file alone. Keeps up to FileSyncs::MOST descriptors open.
class FileReplacements {
 public:
  /// A file that could not be replaced, by the number that the caller gave it, and the parts of its
  /// FileError.
  struct Failure {
    std::size_t number;
    const char* what;
    int error;
  };

  /// For files in the folder `relative` beneath the folder `root`. Creates missing folders for the
  /// first file and follows no link beneath `root`, so that no link placed there can redirect the
  /// writes.
  FileReplacements(std::string root, std::string relative);

  /// The path of a file in the folder.
  std::string path_of(const std::string& name) const;

  /// Writes the new content of a file. When it throws, the file is not replaced.
  void add(const std::string& name, std::string_view content, std::size_t number);

  /// Renames all added files to their names, in the order in which they were added, and forces the
  /// folder to the disk. Without this call, some of them may stay as they were. Returns the
  /// failures of those that were added since the last call.
  std::vector<Failure> finish();

 private:
  struct Pending {
    Pending(const Descriptor& folder, const std::string& name, const std::string& path,
            std::uint64_t temporary_name, std::size_t given_number)
        : file(folder, name, path, temporary_name), number(given_number) {}
    TemporaryFile file;
    std::size_t number;
  };

  void open_folder(const std::string& path);
  void settle();

  std::string root_;
  std::string relative_;
  Descriptor folder_;
  std::deque<Pending> pending_;
  std::vector<Failure> failures_;
  FileSyncs syncs_;
  std::uint64_t next_name_;
  int most_descriptors_;
  bool moved_ = false;  // whether files were renamed since the folder was forced to the disk
};

/// Creates a folder with all missing parents; an existing folder is no error.
void create_folders(const std::string& path);

/// Appends `line` and a line feed in one write, so that the lines of two writers never mix. Creates
/// the file when it is missing. Throws for anything but a regular file, and for a symbolic link in
/// place of the file or of its folder. When a writer died in the middle of a line, the torn line is
/// ended first.
void append_line(const std::string& path, const std::string& line);

/// Renames a file of more than `size` bytes to `path` + ".1", replacing an older one, so that the
/// next line starts a new file. When the rename fails, the file stays and grows.
void rotate_log(const std::string& path, std::uint64_t size);

inline constexpr std::chrono::milliseconds LOCK_WAIT = std::chrono::seconds(10);

/// Thrown by FolderLock: with EWOULDBLOCK when another process holds the lock for too long,
/// otherwise when the lock file cannot be created or locked.
struct LockError : FileError {
  explicit LockError(const FileError& error) : FileError(error) {}
};

/// Holds the lock of a folder while it lives. It locks the file ".structure_ingest.lock" in the
/// folder, created when missing, which stays. Do not lock the folder itself: everybody who may
/// read a folder can lock it. Only users who may write to the folder may open the file.
class FolderLock {
 public:
  /// Waits for at most `most_wait`. Unless it `may_be_link`, a folder that is one is refused: that
  /// in a project is not the user's choice. Throws LockError.
  explicit FolderLock(const std::string& folder, std::chrono::milliseconds most_wait = LOCK_WAIT,
                      bool may_be_link = true);

 private:
  Descriptor file_;
};

/// Creates a folder with all missing parents. At its end it takes away again those that it created,
/// if they hold nothing but empty folders and the folder's lock file by then: what was to be put
/// there was not.
class NewFolder {
 public:
  explicit NewFolder(const std::string& path);
  ~NewFolder();
  NewFolder(const NewFolder&) = delete;
  NewFolder& operator=(const NewFolder&) = delete;

 private:
  std::vector<std::string> created_;  // the innermost first
};

}  // namespace structure_ingest::internal
