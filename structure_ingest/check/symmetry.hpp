// The space group of a structure, found by spglib.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

/// The tolerance for symmetric positions: the usual one for structures from a publication or a
/// database, which have four or five digits.
inline constexpr double SYMMETRY_TOLERANCE_ANG = 0.01;

/// Larger structures are skipped: the search grows with the square of the number of atoms.
inline constexpr std::size_t MOST_ATOMS_FOR_SYMMETRY = 400;

struct FoundSymmetry {
  int number = 0;    // of the space group, 1 to 230
  std::string name;  // "Fm-3m"
  std::size_t primitive_atoms = 0;
  std::size_t conventional_atoms = 0;
};

/// The space group of a periodic structure with a right-handed cell and no overlapping atoms;
/// nothing when spglib finds none.
std::optional<FoundSymmetry> find_symmetry(const IngestedStructure& record);

}  // namespace structure_ingest::internal
