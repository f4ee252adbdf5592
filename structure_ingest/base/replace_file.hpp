// Replaces a file atomically. All errors here are std::filesystem::filesystem_error, with the path
// and the system's reason.
#pragma once

#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// Creates `path` or replaces its content, so that a reader sees the old file or the new one, and a
/// failure leaves the old one: writes a temporary file in the same folder, forces it to the disk
/// and renames it. Keeps the old file's permissions, and its owner and group where the system
/// allows it. A symbolic link at `path` is replaced, not followed; the folder must exist and must
/// not be a symbolic link itself.
void replace_file(const std::string& path, std::string_view content);

/// As above for the file `relative` beneath the folder `root`. Creates missing folders and follows
/// no link beneath `root`, so that no link placed there can redirect the write.
void replace_file_beneath(const std::string& root, const std::string& relative,
                          std::string_view content);

/// Creates a folder with all missing parents; an existing folder is no error.
void create_folders(const std::string& path);

}  // namespace structure_ingest::internal
