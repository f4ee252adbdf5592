// Reads the integers and floats that files may hold, in all their forms. Exact, whatever the
// locale.
#pragma once

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

}  // namespace structure_ingest::internal
