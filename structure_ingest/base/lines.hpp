// Reads a text file line by line. Reads it in pieces and splits only the lines that are asked for,
// so that memory is bounded by the longest of them.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {

/// Reads UTF-8 text; bytes that are not valid are dropped. A line ends at a line feed, a carriage
/// return or both, and at U+000B, U+000C, U+001C to U+001E, U+0085, U+2028 and U+2029.
/// Errors are those of InputFile; a line of more than 512 MiB is one.
class LineReader {
 public:
  /// Adds all bytes read to `digest`, unless it is null; the digest must outlive the reader.
  /// `piece_size` is the size of one read; tests make it small.
  explicit LineReader(const std::string& path, Sha256* digest = nullptr,
                      std::size_t piece_size = std::size_t{1} << 16);

  /// The size of the file when it was opened, in bytes.
  std::size_t file_size() const { return file_.size(); }

  /// The next line without its terminator, valid until the next call; nothing at the end. A
  /// terminator at the very end of the text does not start another line.
  std::optional<std::string_view> next();

  /// Whether there is one more line.
  bool has_next();

  /// The buffered text from the next line to the last line feed; empty when no line feed is
  /// buffered. LOOK_AHEAD readable bytes follow it. A caller that parses a part of it calls `skip`
  /// for that part, and `next` for the other lines.
  std::string_view lines_ahead();

  /// Skips the first `size` bytes of `lines_ahead`, which must end with a line feed.
  void skip(std::size_t size) { position_ += size; }

  /// Reads and discards the rest of the file. The digest needs all bytes, and a file whose end
  /// cannot be read must fail.
  void skip_rest();

 private:
  bool read_more();
  void end_at(std::size_t end);
  void clean();
  std::optional<std::string_view> next_odd_line();
  std::optional<std::string_view> last_line();

  InputFile file_;
  Sha256* digest_;
  std::size_t capacity_;
  std::unique_ptr<char[]> text_;  // the buffered text, then LOOK_AHEAD zeros
  std::size_t position_ = 0;      // start of the next line
  std::size_t clean_end_ = 0;     // the text before this is valid UTF-8
  std::size_t feeds_end_ = 0;     // after the last line feed
  std::size_t end_ = 0;           // of the buffered text
  bool at_end_ = false;           // the end of the file was read
};

}  // namespace structure_ingest::internal
