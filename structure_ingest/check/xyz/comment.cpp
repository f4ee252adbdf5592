#include "structure_ingest/check/xyz/comment.hpp"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "structure_ingest/base/words.hpp"

namespace structure_ingest::internal {

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
