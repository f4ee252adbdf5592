// ASCII letters and digits, whatever the locale, and lists set apart by commas.
#pragma once

#include <algorithm>
#include <string_view>

namespace agent_modules {

constexpr bool is_upper(char c) {
  return c >= 'A' && c <= 'Z';
}

constexpr bool is_lower(char c) {
  return c >= 'a' && c <= 'z';
}

constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

inline bool has_digit(std::string_view text) {
  return std::any_of(text.begin(), text.end(), is_digit);
}

inline bool is_one_of(char c, std::string_view characters) {
  return characters.find(c) != std::string_view::npos;
}

/// Cuts the first item and its comma off the front of `list`.
inline std::string_view cut_item(std::string_view& list) {
  const std::string_view item = list.substr(0, list.find(','));
  list.remove_prefix(std::min(item.size() + 1, list.size()));
  return item;
}

}  // namespace agent_modules
