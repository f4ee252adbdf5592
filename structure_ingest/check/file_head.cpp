#include "structure_ingest/check/file_head.hpp"

#include <algorithm>
#include <system_error>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"

namespace structure_ingest::internal {

FileHead file_head(const std::string& path, std::size_t most) {
  FileHead head;
  try {
    InputFile file(path);
    // Ask for one byte beyond the end, to see that the file ends there.
    const std::uint64_t expected = std::min<std::uint64_t>(file.size() + 1, most);
    std::size_t used = 0;
    for (std::size_t room = static_cast<std::size_t>(expected);;) {
      head.bytes.resize(std::max(room, used + 1));
      const std::size_t got = file.read(head.bytes.data() + used, head.bytes.size() - used);
      used += got;
      if (got == 0) break;
      if (used == most) {
        head.whole = file.size() <= most;
        break;
      }
      if (used == head.bytes.size()) room = std::min(2 * used, most);
    }
    head.bytes.resize(used);
  } catch (const std::system_error&) {
    head = {.bytes = {}, .whole = false, .readable = false};
  }
  return head;
}

std::vector<std::string_view> lines_of(std::string_view text, std::size_t most) {
  std::vector<std::string_view> lines;
  while (!text.empty() && lines.size() < most) {
    const std::size_t end = std::min(text.find_first_of("\n\r"), text.size());
    lines.push_back(text.substr(0, end));
    const bool both = text.substr(end).starts_with("\r\n");
    text.remove_prefix(std::min(end + (both ? 2 : 1), text.size()));
  }
  return lines;
}

std::vector<std::string_view> tokens_of(std::string_view line, std::size_t most) {
  std::vector<std::string_view> tokens;
  while (tokens.size() < most) {
    const std::string_view token = next_token(line);
    if (token.empty()) break;
    tokens.push_back(token);
  }
  return tokens;
}

std::string shown(std::string_view text) {
  constexpr std::size_t MOST = 60;
  if (text.size() <= MOST) return quoted_form(without_invalid_utf8(text));
  return quoted_form(without_invalid_utf8(text.substr(0, MOST))) + "...";
}

}  // namespace structure_ingest::internal
