// Declares the record for those that only pass it on, so that a change of it rebuilds few others.
#pragma once

#include <array>

namespace structure_ingest {

/// Three numbers: a position or a lattice vector, in ångström.
using Vector3 = std::array<double, 3>;

struct IngestedStructure;

}  // namespace structure_ingest
