// Reads a text file line by line. Reads it in pieces and splits only the lines that are asked for,
// so that memory is bounded by the longest of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {

/// Where the bytes of a file go while its lines are read; each may be null, and must outlive the
/// reader.
struct LineReaderOptions {
  Sha256* digest = nullptr;                       // gets all bytes that are read
  std::string* head = nullptr;                    // gets the first ones, at most one piece
  std::size_t piece_size = std::size_t{1} << 16;  // of one read; tests make it small
};

/// Reads UTF-8 text; bytes that are not valid are dropped. A line ends at a line feed, a carriage
/// return or both, and at U+000B, U+000C, U+001C to U+001E, U+0085, U+2028 and U+2029.
/// Errors are those of InputFile; a line of more than 512 MiB is one.
class LineReader {
 public:
  explicit LineReader(const std::string& path, const LineReaderOptions& options = {});

  /// The size of the file when it was opened, in bytes.
  std::size_t file_size() const { return file_.size(); }

  /// How many bytes of the file have been read, those of lines that were not asked for included.
  std::uint64_t taken() const { return taken_; }

  /// From now on a line of more than `most` bytes is an error, so that it takes no memory.
  void limit_lines(std::size_t most) { most_line_ = most; }

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
  LineReaderOptions options_;
  std::size_t capacity_;
  std::size_t most_line_ = std::size_t{1} << 29;
  std::uint64_t taken_ = 0;
  std::unique_ptr<char[]> text_;  // the buffered text, then LOOK_AHEAD zeros
  std::size_t position_ = 0;      // start of the next line
  std::size_t clean_end_ = 0;     // the text before this is valid UTF-8
  std::size_t feeds_end_ = 0;     // after the last line feed
  std::size_t end_ = 0;           // of the buffered text
  bool at_end_ = false;           // the end of the file was read
};

}  // namespace structure_ingest::internal
