#include "structure_ingest/base/utf8.hpp"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "structure_ingest/base/fast/plain_text.hpp"

namespace structure_ingest::internal {

Character character_at(std::string_view text, std::size_t position) {
  const char c = text[position];
  if (static_cast<unsigned char>(c) < 0x80) return {static_cast<char32_t>(c), 1};
  utf8proc_int32_t value = 0;
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data() + position);
  const auto left = static_cast<utf8proc_ssize_t>(std::min<std::size_t>(text.size() - position, 4));
  const utf8proc_ssize_t length = utf8proc_iterate(bytes, left, &value);
  if (length <= 0) return {INVALID_CHARACTER, 1};
  return {static_cast<char32_t>(value), static_cast<std::size_t>(length)};
}

void append_utf8(std::string& out, char32_t code_point) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const utf8proc_ssize_t length =
      utf8proc_encode_char(static_cast<utf8proc_int32_t>(code_point), bytes.data());
  out.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
}

std::size_t valid_utf8_prefix(std::string_view text) {
  std::size_t position = 0;
  while (position < text.size()) {
    // Nearly all text is ASCII: check eight bytes at once.
    if (position + 8 <= text.size() && (load_eight(text.data() + position) & EACH_HIGH_BIT) == 0) {
      position += 8;
      continue;
    }
    if (static_cast<unsigned char>(text[position]) < 0x80) {
      ++position;
      continue;
    }
    const Character character = character_at(text, position);
    if (character.value == INVALID_CHARACTER) break;
    position += character.length;
  }
  return position;
}

std::string without_invalid_utf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t valid = valid_utf8_prefix(text);
    out += text.substr(0, valid);
    text.remove_prefix(std::min(valid + 1, text.size()));
  }
  return out;
}

std::string utf8_text(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t valid = valid_utf8_prefix(text);
    out += text.substr(0, valid);
    text.remove_prefix(valid);
    if (text.empty()) break;
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02X", static_cast<unsigned char>(text[0]));
    append_utf8(out, 0xFFFD);
    out += digits.data();
    text.remove_prefix(1);
  }
  return out;
}

}  // namespace structure_ingest::internal
