// Scans plain text eight characters at a time, as the bytes of one integer with the first in the
// lowest byte.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace structure_ingest::internal {

/// Multiply by this to repeat a byte eight times.
inline constexpr std::uint64_t EACH_BYTE = 0x0101010101010101;
inline constexpr std::uint64_t EACH_HIGH_BIT = EACH_BYTE * 0x80;

/// Functions that say so may read this many bytes past the end of their text.
inline constexpr std::size_t LOOK_AHEAD = 16;

inline std::uint64_t load_eight(const char* text) {
  std::uint64_t eight = 0;
  std::memcpy(&eight, text, sizeof eight);
  if constexpr (std::endian::native == std::endian::big) eight = __builtin_bswap64(eight);
  return eight;
}

inline void store_eight(char* text, std::uint64_t eight) {
  if constexpr (std::endian::native == std::endian::big) eight = __builtin_bswap64(eight);
  std::memcpy(text, &eight, sizeof eight);
}

/// The index of the first byte with a bit in `marks`; 8 when there is none.
inline std::size_t first_marked(std::uint64_t marks) {
  return static_cast<std::size_t>(std::countr_zero(marks)) / 8;
}

/// Returns the first character at or after `text` that is not ASCII, or that is a control character
/// other than a tab. If it is a line feed, the text before it is valid UTF-8 and holds no other
/// line boundary. Such a character must exist, with LOOK_AHEAD readable bytes after it.
inline const char* end_of_plain_text(const char* text) {
  for (;;) {
    const std::uint64_t eight = load_eight(text);
    // A byte below 0x20 borrows from the next one: only the first mark is reliable.
    const std::uint64_t marks = ((eight - EACH_BYTE * 0x20) | eight) & EACH_HIGH_BIT;
    text += first_marked(marks);
    if (marks == 0) continue;
    if (*text != '\t') return text;
    ++text;
  }
}

}  // namespace structure_ingest::internal
