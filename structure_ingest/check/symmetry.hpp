// The search for the space group of a structure, by spglib.
#pragma once

#include <optional>

#include "structure_ingest/check/quantities.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

/// The space group of a periodic structure with a right-handed cell and no overlapping atoms;
/// nothing when spglib finds none, and for more than MOST_ATOMS_FOR_SYMMETRY atoms.
std::optional<SpaceGroup> find_symmetry(const IngestedStructure& record);

}  // namespace structure_ingest::internal
