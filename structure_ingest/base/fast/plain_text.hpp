// Finds the end of a line of plain text, eight bytes at a time.
#pragma once

#include <cstdint>

#include "structure_ingest/base/fast/eight_bytes.hpp"

namespace structure_ingest::internal {

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
