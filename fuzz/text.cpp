// Compares UTF-8 decoding with a decoder that follows the definition, and reverses the quoted form.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/memory_file.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"

namespace {

namespace internal = structure_ingest::internal;

/// The code point that starts at `at`, if its bytes are valid and the shortest form.
bool decode(const std::string& text, std::size_t at, char32_t& value, std::size_t& length) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
  length = byte(0) < 0x80 ? 1 : byte(0) < 0xC0 ? 0 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : 4;
  if (length == 0 || byte(0) >= 0xF8 || at + length > text.size()) return false;
  value = length == 1 ? byte(0) : byte(0) & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return false;
    value = value << 6 | (byte(i) & 0x3F);
  }
  constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return value >= smallest[length] && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

/// The text that a quoted form stands for.
std::string unquoted(const std::string& form) {
  fuzz::require(form.size() >= 2 && form.front() == form.back());
  fuzz::require(form.front() == '\'' || form.front() == '"');
  std::string text;
  for (std::size_t i = 1; i + 1 < form.size(); ++i) {
    if (form[i] != '\\') {
      fuzz::require(static_cast<unsigned char>(form[i]) >= 0x20 && form[i] != form.front());
      text += form[i];
      continue;
    }
    const char kind = form[++i];
    const std::string letters = "tnr\\'\"";
    if (const std::size_t known = letters.find(kind); known != std::string::npos) {
      text += "\t\n\r\\'\""[known];
      continue;
    }
    const std::size_t digits = kind == 'x' ? 2 : kind == 'u' ? 4 : 8;
    fuzz::require(kind == 'x' || kind == 'u' || kind == 'U');
    const std::string code = form.substr(i + 1, digits);
    internal::append_utf8(text, static_cast<char32_t>(std::stoul(code, nullptr, 16)));
    i += digits;
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string kept;
  std::string replaced;
  std::string in_json;
  std::size_t first_invalid = text.size();
  for (std::size_t at = 0; at < text.size();) {
    char32_t value = 0;
    std::size_t length = 0;
    const bool valid = decode(text, at, value, length);
    const internal::Character character = internal::character_at(text, at);
    fuzz::require(character.value == (valid ? value : internal::INVALID_CHARACTER));
    fuzz::require(character.length == (valid ? length : 1));
    if (valid) {
      kept += text.substr(at, length);
      replaced += text.substr(at, length);
      in_json += text.substr(at, length);
    } else {
      in_json += "\uFFFD";
      constexpr std::string_view hex = "0123456789ABCDEF";
      const auto byte = static_cast<unsigned char>(text[at]);
      replaced += std::string("\uFFFD") + hex[byte >> 4] + hex[byte & 0xF];
      first_invalid = std::min(first_invalid, at);
    }
    at += character.length;
  }
  fuzz::require(internal::valid_utf8_prefix(text) == first_invalid);
  fuzz::require(internal::without_invalid_utf8(text) == kept);
  fuzz::require(internal::utf8_text(text) == replaced);
  fuzz::require(unquoted(internal::quoted_form(kept)) == kept);
  fuzz::require(structure_ingest::parse_json(structure_ingest::json_text(text)) == in_json);
  const std::string folded = internal::case_folded(kept);
  fuzz::require(internal::valid_utf8_prefix(folded) == folded.size());
  fuzz::require(internal::case_folded(internal::case_folded(folded)) ==
                internal::case_folded(folded));
  return 0;
}
