// Reads integers and floats in every form that files may use, and writes numbers for people. Exact
// and independent of the locale.
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

/// A number with up to `digits` significant digits and without trailing zeros: "3.142", "1e+20".
std::string number_text(double value, int digits);

}  // namespace structure_ingest::internal
