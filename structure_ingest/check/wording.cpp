#include "structure_ingest/check/wording.hpp"

#include <algorithm>
#include <array>
#include <charconv>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"

namespace structure_ingest::internal {

std::string number_text(double value) {
  return number_text(value, 4);
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

std::string_view leading_symbol(std::string_view text) {
  if (text.empty() || !is_capital(text[0])) return {};
  const bool has_second = text.size() > 1 && is_letter(text[1]) && !is_capital(text[1]);
  return text.substr(0, has_second ? 2 : 1);
}

std::string excerpt(std::string_view text) {
  constexpr std::size_t MOST = 60;
  return quoted_form(without_invalid_utf8(text.substr(0, MOST))) +
         (text.size() > MOST ? "..." : "");
}

std::string without_end(std::string_view text, std::string_view characters) {
  text = stripped(text);
  return std::string(text.substr(0, text.find_last_not_of(characters) + 1));
}

std::string composition_text(const std::map<std::string, double>& composition) {
  std::string text;
  for (const auto& [symbol, count] : composition) {
    if (count < 0.0005) continue;
    std::array<char, 32> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(),
                                      std::min(count, 1e15), std::chars_format::fixed, 3);
    std::string number(digits.data(), result.ptr);  // "1.500", "2.000"
    number.erase(number.find_last_not_of('0') + 1);
    if (number.ends_with('.')) number.pop_back();
    text += symbol + (number == "1" ? "" : number);
  }
  return text;
}

std::string listed(const std::vector<std::string>& items, std::size_t most) {
  std::string text;
  const std::size_t shown = items.size() <= most + 1 ? items.size() : most;
  for (std::size_t i = 0; i < shown; ++i) {
    const bool last = i + 1 == items.size();
    text += (i == 0 ? "" : last ? " and " : ", ") + items[i];
  }
  if (shown < items.size()) text += " and " + std::to_string(items.size() - shown) + " more";
  return text;
}

}  // namespace structure_ingest::internal
