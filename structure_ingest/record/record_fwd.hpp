// Names the record, for headers that only hand it on: nearly every file would otherwise be compiled
// again for a change of its fields.
#pragma once

#include <array>

namespace structure_ingest {

/// Three numbers: a position or a lattice vector, in ångström.
using Vector3 = std::array<double, 3>;

struct IngestedStructure;

}  // namespace structure_ingest
