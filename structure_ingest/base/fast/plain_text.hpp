// Finds the end of a line of plain text, eight bytes at a time.
#pragma once

#include <cstdint>

#include "structure_ingest/base/fast/eight_bytes.hpp"

namespace structure_ingest::internal {

/// The first character from `text` on that is a control character other than a tab, or not ASCII.
/// Where it is a line feed, a line ends, and it holds no other line boundary and no invalid byte.
/// There must be such a character, with LOOK_AHEAD readable bytes behind it.
inline const char* end_of_plain_text(const char* text) {
  for (;;) {
    const std::uint64_t eight = load_eight(text);
    // A byte below 0x20 borrows from the next one: rely on the first mark only.
    const std::uint64_t marks = ((eight - EACH_BYTE * 0x20) | eight) & EACH_HIGH_BIT;
    text += first_marked(marks);
    if (marks == 0) continue;
    if (*text != '\t') return text;
    ++text;
  }
}

}  // namespace structure_ingest::internal
