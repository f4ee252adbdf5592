// The shortest distance between two atoms of a structure.
#pragma once

#include <optional>

#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// The shortest distance in ångström between two atoms, periodic images included, to four decimals
/// at least; nothing for one atom without a cell, and where positions or cell are no use.
std::optional<double> shortest_distance_ang(const structure_ingest::IngestedStructure& record);

}  // namespace apps
