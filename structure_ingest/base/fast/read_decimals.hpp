// Reads the coordinates of an atom line fast.
#pragma once

#include <array>

namespace structure_ingest::internal {

/// Reads three numbers, each with blanks or tabs before it, and returns where the last one ends;
/// null when one of them is in no ASCII decimal notation or is out of the range of a double. A
/// number has an optional sign, digits with an optional point, and an optional exponent; a blank,
/// tab, other control character or byte outside ASCII follows it. The values are the nearest
/// doubles. The text must hold a control character behind the numbers, with LOOK_AHEAD readable
/// bytes after it.
const char* read_decimals(const char* text, std::array<double, 3>& numbers);

}  // namespace structure_ingest::internal
