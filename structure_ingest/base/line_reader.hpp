// The lines of a text file, read in pieces: only the lines that are asked for are ever split, and
// memory is bounded by the longest of them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {

/// Reads UTF-8 text; bytes that are not valid are dropped. A line ends at a line feed, a carriage
/// return or both, and at U+000B, U+000C, U+001C to U+001E, U+0085, U+2028 and U+2029.
/// Errors are those of InputFile; a line of more than 512 MiB is one.
class LineReader {
 public:
  /// `piece_size` is how much is read at once; tests make it small.
  explicit LineReader(const std::string& path, std::size_t piece_size = std::size_t{1} << 18);

  /// The next line without its terminator, valid until the next call; nothing at the end. A
  /// terminator at the very end of the text does not make one more line.
  std::optional<std::string_view> next();

  /// Reads the rest of the file, keeping nothing: it only shows whether the file can be read.
  void skip_rest();

 private:
  bool read_more();
  std::size_t find_boundary(std::string_view text, std::size_t from) const;

  InputFile file_;
  std::size_t piece_size_;
  std::string text_;           // valid UTF-8 up to valid_end_, then a cut-off character
  std::size_t valid_end_ = 0;  // lines are taken from the text before this
  std::size_t position_ = 0;   // start of the next line
  bool plain_ = true;          // only line feeds end lines
  bool at_end_ = false;        // nothing more to read
};

}  // namespace structure_ingest::internal
