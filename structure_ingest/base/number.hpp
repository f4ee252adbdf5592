// Numbers as text: the integer and float forms that files may hold, and the two forms in which
// floats are written. Exact both ways, and independent of the locale.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// Reads integer text: optional sign, decimal digits (of any script), single underscores between
/// digits. Returns the number in plain decimal (no plus, no leading zeros) whatever its size.
std::optional<std::string> integer_text(std::string_view token);

/// Reads float text: optional sign, then digits with optional fraction and exponent, or inf,
/// infinity, nan in any letter case; single underscores between digits. The result is the nearest
/// double; what is too large becomes infinity, what is too small zero.
std::optional<double> float_value(std::string_view token);

/// Appends `value` in fixed-point notation with exactly ten decimals, correctly rounded from its
/// exact value (halves to even). Values that are not finite read inf, -inf and nan.
void append_ten_decimals(std::string& out, double value);

/// Appends the shortest text that reads back as the finite `value` and shows it to be a float:
/// plain decimals for ordinary magnitudes, an exponent beyond them.
void append_shortest(std::string& out, double value);

/// The same into a buffer with NUMBER_ROOM bytes; returns the end of the text.
inline constexpr std::size_t NUMBER_ROOM = 352;
char* write_shortest(char* out, double value);

}  // namespace structure_ingest::internal
