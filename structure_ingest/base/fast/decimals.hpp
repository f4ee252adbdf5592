// Fast reader and writers for floats in decimal notation. Exact and independent of the locale.
#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace structure_ingest::internal {

/// Reads the coordinates of an atom line: three numbers, each preceded by blanks or tabs, and
/// returns where the last one ends; null when one of them is not in ASCII decimal notation or
/// exceeds the range of a double. A number has an optional sign, digits with an optional point, and
/// an optional exponent; it ends at a blank, tab, other control character or byte outside ASCII.
/// The values are the nearest doubles. A control character must follow the numbers, with LOOK_AHEAD
/// readable bytes after it.
const char* read_decimals(const char* text, std::array<double, 3>& numbers);

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
