// Fast reader for the coordinates of an atom line.
#pragma once

#include <array>

namespace structure_ingest::internal {

/// Reads three numbers, each preceded by blanks or tabs, and returns where the last one ends; null
/// when one of them is not in ASCII decimal notation or exceeds the range of a double. A number has
/// an optional sign, digits with an optional point, and an optional exponent; it ends at a blank,
/// tab, other control character or byte outside ASCII. The values are the nearest doubles. A
/// control character must follow the numbers, with LOOK_AHEAD readable bytes after it.
const char* read_decimals(const char* text, std::array<double, 3>& numbers);

}  // namespace structure_ingest::internal
