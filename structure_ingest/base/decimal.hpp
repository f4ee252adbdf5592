// Numbers as nearly all structure files hold them, in plain decimal notation, read fast.
#pragma once

#include <array>
#include <cstddef>

namespace structure_ingest::internal {

/// Reads three numbers, each with blanks or tabs before it, and returns where the last one ends;
/// null when one of them needs more care. A number is an optional sign, one to six digits, a point
/// and any digits up to 19 in all; what may follow it is for the caller to judge, an exponent
/// included. The values are the nearest doubles. LOOK_AHEAD bytes behind the first character that
/// can belong to no number must be readable.
const char* read_decimals(const char* text, std::array<double, 3>& numbers);

}  // namespace structure_ingest::internal
