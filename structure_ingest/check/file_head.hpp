// The beginning of a file, for checks of its content.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

/// Checks read at most this much of a CIF or VASP file.
inline constexpr std::size_t MOST_BYTES_READ = std::size_t{64} << 20;

struct FileHead {
  std::string bytes;
  bool whole = true;  // false when the file goes on, or could not be read
  bool readable = true;
};

/// Up to `most` bytes of the regular file at `path`; empty and not readable when the system
/// refuses.
FileHead file_head(const std::string& path, std::size_t most);

/// The lines of `text`, ended by a line feed, a carriage return or both; at most `most` of them.
std::vector<std::string_view> lines_of(std::string_view text, std::size_t most);

/// The tokens of one line, at most `most`.
std::vector<std::string_view> tokens_of(std::string_view line, std::size_t most);

/// `text` in the quoted form, shortened for a message.
std::string shown(std::string_view text);

}  // namespace structure_ingest::internal
