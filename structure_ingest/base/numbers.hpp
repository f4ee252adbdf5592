// Reads integers and floats in every form that files may use. Exact and independent of the locale.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// Reads integer text: optional sign, decimal digits (of any script), single underscores between
/// digits. Returns the number in plain decimal (no plus, no leading zeros), of any size.
std::optional<std::string> integer_text(std::string_view token);

/// Reads float text: optional sign, then digits with optional fraction and exponent, or inf,
/// infinity, nan in any letter case; single underscores between digits. The result is the nearest
/// double; a number too large becomes infinity, one too small zero.
std::optional<double> float_value(std::string_view token);

}  // namespace structure_ingest::internal
