#include "structure_ingest/base/lines.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "structure_ingest/base/fast/plain_text.hpp"
#include "structure_ingest/base/utf8.hpp"

// The buffer holds the part of the file from the next line on; read_more() moves that part to the
// front and appends the next piece. Lines take one of two ways. next() looks for the first byte
// that is not plain ASCII text, eight bytes at a time; if that byte is a line feed or CR LF, the
// line is complete. All other lines go through next_odd_line(): it removes invalid UTF-8 from the
// bytes read so far, once, and then looks for any of the Unicode line boundaries. A character or CR
// LF that the end of the buffer cuts in two is completed by the next piece before the line is
// split. LOOK_AHEAD zeros follow the text, so that scanning never checks for the end of the buffer.
namespace structure_ingest::internal {
namespace {

/// The length of the line boundary at `position` of valid UTF-8; 0 when there is none.
std::size_t boundary_length(std::string_view text, std::size_t position) {
  switch (static_cast<unsigned char>(text[position])) {
    case '\n':
    case '\v':
    case '\f':
    case 0x1C:
    case 0x1D:
    case 0x1E:
      return 1;
    case '\r':
      return position + 1 < text.size() && text[position + 1] == '\n' ? 2 : 1;
    case 0xC2:
      return text[position + 1] == '\x85' ? 2 : 0;
    case 0xE2: {
      const std::string_view character = text.substr(position, 3);
      return character == "\u2028" || character == "\u2029" ? 3 : 0;
    }
    default:
      return 0;
  }
}

/// How many bytes at the end of `text` begin a character that the next piece may complete.
std::size_t cut_off_character(std::string_view text) {
  for (std::size_t back = 1; back <= 3 && back <= text.size(); ++back) {
    const auto byte = static_cast<unsigned char>(text[text.size() - back]);
    if (byte < 0x80) return 0;
    if (byte < 0xC0) continue;
    const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
    return length > back ? back : 0;
  }
  return 0;
}

/// Where the first line boundary at or after `from` starts; the size of `text` when there is none.
std::size_t find_boundary(std::string_view text, std::size_t from) {
  while (from < text.size() && boundary_length(text, from) == 0) ++from;
  return from;
}

}  // namespace

LineReader::LineReader(const std::string& path, const LineReaderOptions& options)
    : file_(path),
      options_(options),
      capacity_(2 * options.piece_size),
      text_(std::make_unique_for_overwrite<char[]>(capacity_ + LOOK_AHEAD)) {
  end_at(0);
}

void LineReader::end_at(std::size_t end) {
  end_ = end;
  std::memset(text_.get() + end, 0, LOOK_AHEAD);
  const std::size_t last_feed = std::string_view(text_.get(), end).rfind('\n');
  feeds_end_ = last_feed == std::string_view::npos ? 0 : last_feed + 1;
}

/// Appends the next piece of the file to the unread text; false at the end of the file.
bool LineReader::read_more() {
  if (at_end_) return false;
  // Drop the returned lines: the buffer must not grow with the file.
  const std::size_t left = end_ - position_;
  if (left > most_line_) file_.refuse_as_too_large();
  const char* const rest = text_.get() + position_;
  if (left > capacity_ / 2) {
    capacity_ *= 2;
    auto larger = std::make_unique_for_overwrite<char[]>(capacity_ + LOOK_AHEAD);
    std::memcpy(larger.get(), rest, left);
    text_ = std::move(larger);
  } else {
    std::memmove(text_.get(), rest, left);
  }
  clean_end_ -= std::min(clean_end_, position_);
  position_ = 0;
  const std::size_t count = file_.read(text_.get() + left, capacity_ - left);
  const std::string_view piece(text_.get() + left, count);
  if (options_.digest != nullptr) options_.digest->add(piece);
  if (options_.head != nullptr && taken_ == 0)
    *options_.head = piece.substr(0, options_.piece_size);
  taken_ += count;
  end_at(left + count);
  at_end_ = count == 0;
  return true;
}

/// Drops bytes that are not valid UTF-8. Keeps an incomplete character at the end, which the next
/// piece may complete.
void LineReader::clean() {
  clean_end_ = std::max(clean_end_, position_);
  const std::string_view fresh(text_.get() + clean_end_, end_ - clean_end_);
  const std::size_t held_back = at_end_ ? 0 : cut_off_character(fresh);
  const std::string_view complete = fresh.substr(0, fresh.size() - held_back);
  if (valid_utf8_prefix(complete) < complete.size()) {
    const std::string cleaned =
        without_invalid_utf8(complete) + std::string(fresh.substr(complete.size()));
    std::memcpy(text_.get() + clean_end_, cleaned.data(), cleaned.size());
    end_at(clean_end_ + cleaned.size());
  }
  clean_end_ = end_ - held_back;
}

std::optional<std::string_view> LineReader::next() {
  do {
    const char* const line = text_.get() + position_;
    const char* const stop = end_of_plain_text(line);
    const auto size = static_cast<std::size_t>(stop - line);
    if (position_ + size == end_) continue;
    const std::size_t terminator = *stop == '\n' ? 1 : *stop == '\r' && stop[1] == '\n' ? 2 : 0;
    if (terminator == 0) return next_odd_line();
    position_ += size + terminator;
    return std::string_view(line, size);
  } while (read_more());
  return last_line();
}

/// The next line when it may hold other line boundaries or invalid bytes.
std::optional<std::string_view> LineReader::next_odd_line() {
  std::size_t scanned = 0;
  do {
    clean();
    const std::string_view text(text_.get(), clean_end_);
    const std::size_t end = find_boundary(text, position_ + scanned);
    scanned = end - position_;
    // The line feed after a final carriage return may not have been read yet.
    const bool may_go_on = end + 1 == text.size() && text[end] == '\r' && !at_end_;
    if (end == text.size() || may_go_on) continue;
    const std::string_view line = text.substr(position_, scanned);
    position_ = end + boundary_length(text, end);
    return line;
  } while (read_more());
  return last_line();
}

std::optional<std::string_view> LineReader::last_line() {
  if (position_ == end_) return std::nullopt;
  const std::string_view line(text_.get() + position_, end_ - position_);
  position_ = end_;
  return line;
}

bool LineReader::has_next() {
  do {
    if (position_ < end_ && static_cast<unsigned char>(text_[position_]) < 0x80) return true;
    clean();  // the rest may be only invalid bytes, which are no line
    if (position_ < clean_end_) return true;
  } while (read_more());
  return false;
}

std::string_view LineReader::lines_ahead() {
  // A long text without a line feed uses another line boundary: do not read on to find one.
  if (feeds_end_ <= position_ && end_ - position_ < capacity_ / 2) read_more();
  if (feeds_end_ <= position_) return {};
  return {text_.get() + position_, feeds_end_ - position_};
}

void LineReader::skip_rest() {
  position_ = end_;
  while (read_more()) position_ = end_;
}

}  // namespace structure_ingest::internal
