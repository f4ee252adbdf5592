// Replacing a file as one step.
// All errors here are std::filesystem::filesystem_error, with the path and the system's reason.
#pragma once

#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// Creates `path` or replaces its whole content, so that a reader sees the old file or the new one
/// and a failure leaves the old one: a temporary file in the same folder takes its place once it is
/// on the disk. It keeps the old file's permissions, and its owner and group where the system
/// allows it. A symbolic link at `path` is replaced, not followed; the folder must exist, and is
/// not itself reached through a link in its place.
void replace_file(const std::string& path, std::string_view content);

/// The same for the file `relative` beneath the folder `root`: missing folders are created, and no
/// link beneath `root` is followed, so that nothing placed there can lead the file elsewhere.
void replace_file_beneath(const std::string& root, const std::string& relative,
                          std::string_view content);

/// Creates a folder with all missing parents; an existing folder is no error.
void create_folders(const std::string& path);

}  // namespace structure_ingest::internal
