// Text as UTF-8 bytes. No function fails on bytes that are not valid UTF-8; each documents how it
// treats them.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// Takes the next piece of a text that is never in memory whole; what it throws ends the text.
using TextSink = std::function<void(std::string_view piece)>;

/// The value of a byte that is not part of a valid UTF-8 sequence.
inline constexpr char32_t INVALID_CHARACTER = 0xFFFFFFFF;

struct Character {
  char32_t value;      // code point, or INVALID_CHARACTER
  std::size_t length;  // bytes it takes; 1 for an invalid byte
};

/// The character that starts at `position`, which must lie inside `text`.
Character character_at(std::string_view text, std::size_t position);

/// Appends the UTF-8 form of a code point.
void append_utf8(std::string& out, char32_t code_point);

/// The length of the longest prefix of `text` that is valid UTF-8.
std::size_t valid_utf8_prefix(std::string_view text);

/// A copy without the bytes that are not valid UTF-8.
std::string without_invalid_utf8(std::string_view text);

/// A copy in which each byte that is not valid UTF-8 reads as U+FFFD and the byte's two hexadecimal
/// digits, so that names which differ only in such bytes remain distinct.
std::string utf8_text(std::string_view text);

}  // namespace structure_ingest::internal
