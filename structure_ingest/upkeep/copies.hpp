// The canonical copies that lie in a project.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

/// Whether `path` is that of a canonical copy relative to its project, and no path to elsewhere.
bool is_copy_path(std::string_view path);

/// The copies that lie in a project, relative to it, in the order of their names. A folder that
/// cannot be read holds none.
std::vector<std::string> copies_in(const std::string& project);

/// The first digits of the digest of the text that a copy had when it was named.
std::string digest_in_name(const std::string& copy);

/// The same of a text.
std::string digest_of(const std::string& text);

/// The text of a copy, with the line ends that were written; nothing when no regular file is there.
/// Throws std::system_error when it cannot be read.
std::optional<std::string> text_of_copy(const std::string& project, const std::string& copy);

/// When the copy was last written; nothing when no regular file is there.
std::optional<std::int64_t> time_of_copy(const std::string& project, const std::string& copy);

}  // namespace structure_ingest::internal
