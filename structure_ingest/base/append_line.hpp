// Logs: text files to which lines are appended.
// All errors here are std::filesystem::filesystem_error, with the path and the system's reason.
#pragma once

#include <cstdint>
#include <string>

namespace structure_ingest::internal {

/// Appends `line` and a line feed in one step, so that the lines of two writers never mix; creates
/// the file when it is missing, and refuses anything but a regular file, links to the file or in
/// the place of its folder included. A last line without its line feed, which a writer left that
/// could not finish it, stays a line of its own.
void append_line(const std::string& path, const std::string& line);

/// Moves a file of more than `size` bytes to the name `path` + ".1", where it replaces an older
/// one, so that the next line starts a new file. When it cannot be moved, it stays and grows.
void rotate_log(const std::string& path, std::uint64_t size);

}  // namespace structure_ingest::internal
