// Kinds of ASCII characters, whatever the locale.
#pragma once

namespace structure_ingest::internal {

inline bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
inline bool is_capital(char c) {
  return c >= 'A' && c <= 'Z';
}
inline bool is_small_letter(char c) {
  return c >= 'a' && c <= 'z';
}
inline bool is_letter(char c) {
  return is_capital(c) || is_small_letter(c);
}

}  // namespace structure_ingest::internal
