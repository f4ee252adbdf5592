#include "structure_ingest/base/line_reader.hpp"

#include <algorithm>
#include <array>

#include "structure_ingest/base/text.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::size_t MAX_LINE = std::size_t{1} << 29;

/// Bytes at which a line boundary may start.
constexpr std::array<bool, 256> MAY_END_LINE = [] {
  std::array<bool, 256> table{};
  for (const unsigned c : {0x0AU, 0x0BU, 0x0CU, 0x0DU, 0x1CU, 0x1DU, 0x1EU, 0xC2U, 0xE2U})
    table[c] = true;
  return table;
}();

/// The length of the line boundary at `position` of valid UTF-8; 0 when there is none.
std::size_t boundary_length(std::string_view text, std::size_t position) {
  switch (static_cast<unsigned char>(text[position])) {
    case '\r':
      return position + 1 < text.size() && text[position + 1] == '\n' ? 2 : 1;
    case 0xC2:
      return text[position + 1] == '\x85' ? 2 : 0;
    case 0xE2: {
      const std::string_view character = text.substr(position, 3);
      return character == "\u2028" || character == "\u2029" ? 3 : 0;
    }
    default:
      return 1;
  }
}

/// Whether a line feed is all that can end a line: then it is found by memchr, and the search for
/// it costs next to nothing.
bool is_plain(std::string_view text) {
  unsigned odd = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    odd |= static_cast<unsigned>(byte >= 0x80) |
           (static_cast<unsigned>(byte < 0x20) & static_cast<unsigned>(byte != '\n') &
            static_cast<unsigned>(byte != '\t'));
  }
  return odd == 0;
}

/// How many bytes at the end of `text` are the start of a character whose rest may still come.
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

}  // namespace

LineReader::LineReader(const std::string& path, std::size_t piece_size)
    : file_(path), piece_size_(piece_size) {}

bool LineReader::read_more() {
  if (at_end_) return false;
  // What was handed out already goes, so that the text does not grow with the file.
  text_.erase(0, position_);
  valid_end_ -= position_;
  position_ = 0;
  const std::size_t old_size = text_.size();
  if (old_size > MAX_LINE) file_.refuse_as_too_large();
  text_.resize(old_size + piece_size_);
  const std::size_t count = file_.read(text_.data() + old_size, piece_size_);
  text_.resize(old_size + count);
  at_end_ = count == 0;

  const std::string_view fresh = std::string_view(text_).substr(valid_end_);
  const std::size_t held_back = at_end_ ? 0 : cut_off_character(fresh);
  const std::string_view complete = fresh.substr(0, fresh.size() - held_back);
  if (valid_utf8_prefix(complete) < complete.size()) {
    const std::string tail(fresh.substr(complete.size()));
    const std::string cleaned = without_invalid_utf8(complete);
    text_.replace(valid_end_, std::string::npos, cleaned + tail);
  }
  // Fresh text beside what is left of the old: one odd byte makes both take the slow way.
  plain_ = (plain_ || valid_end_ == 0) && is_plain(std::string_view(text_).substr(valid_end_));
  valid_end_ = text_.size() - held_back;
  return true;
}

/// Where the first line boundary at or after `from` starts; the size of `text` when there is none.
std::size_t LineReader::find_boundary(std::string_view text, std::size_t from) const {
  if (plain_) return std::min(text.find('\n', from), text.size());
  std::size_t end = from;
  while (end < text.size() && (!MAY_END_LINE[static_cast<unsigned char>(text[end])] ||
                               boundary_length(text, end) == 0)) {
    ++end;
  }
  return end;
}

std::optional<std::string_view> LineReader::next() {
  for (std::size_t scanned = 0;;) {
    const std::string_view text = std::string_view(text_).substr(0, valid_end_);
    const std::size_t end = find_boundary(text, position_ + scanned);
    // A line feed that belongs to a final carriage return may not have been read yet.
    const bool may_go_on = end + 1 == text.size() && text[end] == '\r' && !at_end_;
    if (end < text.size() && !may_go_on) {
      const std::string_view line = text.substr(position_, end - position_);
      position_ = end + boundary_length(text, end);
      return line;
    }
    scanned = end - position_;
    if (read_more()) continue;
    if (position_ == valid_end_) return std::nullopt;
    const std::string_view line = text.substr(position_);
    position_ = valid_end_;
    return line;
  }
}

void LineReader::skip_rest() {
  text_.resize(piece_size_);
  position_ = valid_end_ = 0;
  while (!at_end_) at_end_ = file_.read(text_.data(), text_.size()) == 0;
}

}  // namespace structure_ingest::internal
