// Logs: text files to which lines are appended.
// All errors here are std::filesystem::filesystem_error, with the path and the system's reason.
#pragma once

#include <cstdint>
#include <string>

namespace structure_ingest::internal {

/// Appends `line` and a line feed in one write, so that the lines of two writers never mix. Creates
/// the file when it is missing. Throws for anything but a regular file, and for a symbolic link in
/// place of the file or of its folder. When a writer died in the middle of a line, the torn line is
/// ended first.
void append_line(const std::string& path, const std::string& line);

/// Renames a file of more than `size` bytes to `path` + ".1", replacing an older one, so that the
/// next line starts a new file. When the rename fails, the file stays and grows.
void rotate_log(const std::string& path, std::uint64_t size);

}  // namespace structure_ingest::internal
