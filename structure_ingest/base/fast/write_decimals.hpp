// Fast writers for floats: with ten decimals, and as the shortest text. Exact and independent of
// the locale.
#pragma once

#include <cstddef>
#include <string>

namespace structure_ingest::internal {

/// Appends `value` in fixed-point notation with exactly ten decimals, correctly rounded from its
/// exact value (halves to even). Non-finite values read inf, -inf and nan.
void append_ten_decimals(std::string& out, double value);

/// Appends the shortest text that reads back as the finite `value`, always recognisable as a float:
/// plain decimals for ordinary magnitudes, an exponent beyond them.
void append_shortest(std::string& out, double value);

/// As above, into a buffer with NUMBER_ROOM bytes; returns the end of the text.
inline constexpr std::size_t NUMBER_ROOM = 352;
char* write_ten_decimals(char* out, double value);
char* write_shortest(char* out, double value);

}  // namespace structure_ingest::internal
