#include "structure_ingest/check/xyz_file.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>
#include <system_error>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/file_head.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::size_t PIECE = std::size_t{1} << 15;
constexpr std::size_t MOST_LINE = std::size_t{1} << 16;

/// Count frames in at most this much of a file.
constexpr std::uint64_t MOST_BYTES = std::uint64_t{256} << 20;

bool is_blank(std::string_view line) {
  return stripped(line).empty();
}

/// Reads the lines of a file in pieces. A line ends at a line feed, or at a carriage return when
/// the first piece has no line feed; the reader's other line boundaries are too rare to support
/// here. A line is cut after MOST_LINE bytes.
class Lines {
 public:
  explicit Lines(const std::string& path) : file_(path), piece_(new char[PIECE]) {
    read_more();
    const std::string_view first(piece_.get(), end_);
    if (first.find('\n') == std::string_view::npos) feed_ = '\r';
  }

  bool next(std::string& line) {
    line.clear();
    if (!fill()) return false;
    while (fill()) {
      const std::string_view rest(piece_.get() + at_, end_ - at_);
      const std::size_t length = std::min(rest.find(feed_), rest.size());
      line.append(rest.substr(0, std::min(length, MOST_LINE - std::min(line.size(), MOST_LINE))));
      at_ += std::min(length + 1, rest.size());
      if (length < rest.size()) break;
    }
    if (line.ends_with('\r')) line.pop_back();
    return true;
  }

  /// Skips `count` lines; false when the file ends first.
  bool skip(std::size_t count) {
    while (count > 0 && fill()) {
      const char* const begin = piece_.get() + at_;
      const std::size_t ahead = end_ - at_;
      // Usually the whole piece is skipped, and counting line ends is faster than finding each one.
      const auto lines = static_cast<std::size_t>(std::count(begin, begin + ahead, feed_));
      if (lines < count) {
        at_ = end_;
        count -= lines;
        unfinished_ = begin[ahead - 1] != feed_;
        continue;
      }
      while (count > 0) {
        const void* const found = std::memchr(piece_.get() + at_, feed_, end_ - at_);
        at_ = static_cast<std::size_t>(static_cast<const char*>(found) - piece_.get()) + 1;
        --count;
      }
    }
    return count == 0 || (count == 1 && unfinished_);
  }

  bool too_long() const { return read_ >= MOST_BYTES; }

  /// The size of the file, and the number of bytes taken so far.
  std::uint64_t size() const { return file_.size(); }
  std::uint64_t taken() const { return read_ - (end_ - at_); }

  /// The last non-blank line, if it lies in the last bytes of the file. Does not change the next
  /// line.
  std::string last_line() {
    constexpr std::uint64_t MOST = 4096;
    const std::uint64_t begin = size() - std::min(size(), MOST);
    std::string text(static_cast<std::size_t>(size() - begin), '\0');
    if (read_ == end_ && read_ == size()) {  // the first piece is the whole file
      std::memcpy(text.data(), piece_.get() + begin, text.size());
    } else {
      file_.move_to(begin);
      text.resize(file_.read(text.data(), text.size()));
      file_.move_to(read_);
    }
    const std::string_view all(text);
    const std::string_view rest = all.substr(0, text.find_last_not_of(" \t\r\n") + 1);
    return std::string(rest.substr(rest.find_last_of("\r\n") + 1));
  }

 private:
  bool fill() {
    if (at_ == end_) read_more();
    return at_ < end_;
  }

  void read_more() {
    at_ = end_ = 0;
    if (too_long()) return;
    end_ = file_.read(piece_.get(), PIECE);
    read_ += end_;
  }

  InputFile file_;
  std::unique_ptr<char[]> piece_;
  std::size_t at_ = 0;
  std::size_t end_ = 0;
  std::uint64_t read_ = 0;
  char feed_ = '\n';
  bool unfinished_ = false;
};

/// The atom count of the first line of a frame.
std::optional<std::size_t> frame_size(std::string_view line) {
  std::string_view rest = line;
  const std::string_view token = next_token(rest);
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), count);
  if (error != std::errc() || end != token.data() + token.size() || count == 0) return std::nullopt;
  return count;
}

/// Whether the file ends with the last atom of the record. A second frame may end with the same
/// atom line; the size of the file excludes that.
bool ends_with_record(Lines& lines, const IngestedStructure& record, const XyzFile& file,
                      std::uint64_t frame_begin) {
  const std::uint64_t head = lines.taken() - frame_begin;
  const auto expected = static_cast<double>(head) / static_cast<double>(file.first_atoms.size()) *
                        static_cast<double>(record.symbols.size());
  if (static_cast<double>(lines.size() - frame_begin) > 1.5 * expected) return false;
  const std::string line = lines.last_line();
  const std::vector<std::string_view> tokens = tokens_of(line, 5);
  if (tokens.size() < 4 || canonical_symbol(tokens[0]) != record.symbols.back()) return false;
  for (const std::size_t begin : {std::size_t{1}, std::size_t{2}}) {
    bool same = true;
    for (std::size_t k = 0; k < 3; ++k) {
      same = same && begin + k < tokens.size() &&
             float_value(tokens[begin + k]) == record.positions_ang.back()[k];
    }
    if (same) return true;
  }
  return false;
}

void count_frames(Lines& lines, XyzFile& file) {
  std::string line;
  std::size_t number = 0;  // of the line, counted from the end of the first frame
  const auto stop_at = [&](std::size_t at, std::string_view text) {
    file.trailing_line = at;
    file.trailing_text = text;
  };
  while (lines.next(line)) {
    ++number;
    if (is_blank(line)) continue;
    file.more_lines = true;
    const std::size_t begin = number;
    const std::string first = line;
    const std::optional<std::size_t> size = frame_size(line);
    if (!size) return stop_at(begin, first);
    const bool whole = lines.next(line) && lines.skip(*size);
    if (lines.too_long()) break;
    if (!whole) return stop_at(begin, first);
    number += 1 + *size;
    ++file.frames;
  }
  file.counted_all = !lines.too_long();
}

}  // namespace

std::optional<XyzFile> look_at_xyz(const IngestedStructure& record) {
  const std::size_t natoms = record.symbols.size();
  try {
    Lines lines(record.source_path);
    XyzFile file;
    std::string line;
    lines.next(line);
    lines.next(file.comment);
    const std::uint64_t frame_begin = lines.taken();
    const std::size_t first = std::min(natoms, MOST_FIRST_ATOMS);
    while (file.first_atoms.size() < first && lines.next(line)) file.first_atoms.push_back(line);
    if (natoms > first) {
      if (ends_with_record(lines, record, file, frame_begin)) return file;
      lines.skip(natoms - first);
    }
    count_frames(lines, file);
    if (file.trailing_line > 0) file.trailing_line += natoms + 2;
    return file;
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

std::optional<std::string_view> comment_value(std::string_view comment, std::string_view key) {
  for (std::size_t at = comment.find('='); at != std::string_view::npos;
       at = comment.find('=', at + 1)) {
    std::size_t end = at;
    while (end > 0 && comment[end - 1] == ' ') --end;
    if (end < key.size() ||
        ascii_lower_cased(comment.substr(end - key.size(), key.size())) != key) {
      continue;
    }
    const std::size_t begin = end - key.size();
    if (begin > 0 && comment[begin - 1] != ' ' && comment[begin - 1] != '\t') continue;
    std::string_view value = comment.substr(at + 1);
    value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
    const char quote = value.empty() ? ' ' : value.front();
    if (quote == '"' || quote == '\'') {
      value.remove_prefix(1);
      return value.substr(0, value.find(quote));
    }
    return value.substr(0, value.find_first_of(" \t"));
  }
  return std::nullopt;
}

std::optional<std::vector<XyzColumn>> declared_columns(std::string_view comment) {
  const std::optional<std::string_view> value = comment_value(comment, "properties");
  if (!value) return std::nullopt;
  std::vector<std::string_view> parts;
  for (std::string_view rest = *value; parts.size() < 3000;) {
    const std::size_t end = rest.find(':');
    parts.push_back(rest.substr(0, end));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  if (parts.size() % 3 != 0) return std::nullopt;
  std::vector<XyzColumn> columns;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < parts.size(); i += 3) {
    std::size_t count = 0;
    const std::string_view digits = parts[i + 2];
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
    if (error != std::errc() || count == 0 || count > 1000) return std::nullopt;
    columns.push_back({ascii_lower_cased(parts[i]), begin, count});
    begin += count;
  }
  return columns;
}

}  // namespace structure_ingest::internal
