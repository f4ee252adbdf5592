// Opening and writing, as the functions that read, replace, append to and lock files share it.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>

#include "structure_ingest/base/descriptor.hpp"

namespace structure_ingest::internal {

/// Throws std::filesystem::filesystem_error with a path and an error number of the system's. A path
/// that is too long for the system is quoted in part.
[[noreturn]] void throw_file_error(const char* what, const std::string& path, int error = errno);

/// The C form of a path; throws for one with a NUL character, which would be silently cut short.
const char* c_path(const std::string& path);

/// Opens `name` in the open folder `folder`, or with AT_FDCWD the path `name`. The descriptor is
/// not open on failure; errno tells why.
Descriptor open_at(int folder, const std::string& name, int flags, mode_t mode = 0666);

/// Opens a folder in order to write to `path` in it; throws when a link stands in its place.
Descriptor open_folder_of(const std::string& path, int parent, const std::string& name);

/// The status of an open regular file. Throws `what` for one that could not be opened (by errno),
/// that is no regular file, or that the kernel makes up.
struct stat regular_file_status(const Descriptor& file, const char* what, const std::string& path);

/// Whether the kernel makes the file at `path` up as it is read, as it does in /proc: it may have
/// no end, and its size says nothing.
bool is_made_up_file(const std::string& path);

/// Writes some of the text, as write(2) does; where the process may not write as much, it gets
/// the error EFBIG and not the signal that would end it.
ssize_t write_some(const Descriptor& file, std::string_view text);

}  // namespace structure_ingest::internal
