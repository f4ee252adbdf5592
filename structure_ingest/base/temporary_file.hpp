// Files that are written beside the place that they are to take.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "structure_ingest/base/descriptor.hpp"

namespace structure_ingest::internal {

/// A new file in an open folder, under a name of its own (".structure_ingest-", 16 hexadecimal
/// digits, ".tmp"), removed again unless it is moved to its place. Errors are
/// std::filesystem::filesystem_error and name the file by `path`. The folder and the path must
/// outlive it.
class TemporaryFile {
 public:
  TemporaryFile(const Descriptor& folder, const std::string& path, mode_t mode);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const Descriptor& descriptor() const { return file_; }

  /// Writes all of `content` and forces it to the disk.
  void write(std::string_view content);

  /// Gives it the place `name` in its folder, where it replaces what stands there.
  void move_to(const std::string& name);

 private:
  const Descriptor& folder_;
  const std::string& path_;
  std::string name_;
  Descriptor file_;
  bool moved_ = false;
};

/// Removes temporary files from a folder that is open for reading, those of our user that are
/// older than a day: runs that were killed have left them. Best effort: of a folder with very many
/// files only some are looked at, and failures are ignored.
void remove_old_temporary_files(Descriptor folder);

}  // namespace structure_ingest::internal
