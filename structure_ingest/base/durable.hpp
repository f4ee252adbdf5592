// Replaces files atomically. All errors here are std::filesystem::filesystem_error, with the path
// and the system's reason.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
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
  /// file_error().
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

  /// Has all added files take their names, in the order in which they were added, and the folder
  /// keep them. Without this call, some of them may stay as they were. Returns the failures of
  /// those that were added since the last call.
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
  bool moved_ = false;  // whether files took their names since the folder was synced
};

/// Creates a folder with all missing parents; an existing folder is no error.
void create_folders(const std::string& path);

}  // namespace structure_ingest::internal
