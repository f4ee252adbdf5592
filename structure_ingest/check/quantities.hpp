// What is computed of a structure for people: its cell, density, shortest distance and space group.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/record/cell_geometry.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest {

/// A space group as spglib finds it, with a tolerance of SYMMETRY_TOLERANCE_ANG.
struct SpaceGroup {
  int number = 0;      ///< 1 to 230
  std::string name{};  ///< "Fm-3m"
  std::size_t primitive_atoms = 0;
  std::size_t conventional_atoms = 0;
};

/// The tolerance for symmetric positions: the usual one for structures from a publication or a
/// database, which have four or five digits.
inline constexpr double SYMMETRY_TOLERANCE_ANG = 0.01;

/// The space group is searched for in structures of up to this many atoms: the search grows with
/// the square of their number.
inline constexpr std::size_t MOST_ATOMS_FOR_SYMMETRY = 400;

/// The quantities of a good record; what it does not tell is absent.
struct Quantities {
  std::optional<CellGeometry> cell{};
  std::optional<double> density_g_cm3{};
  /// Between two atoms, periodic images included; absent for a single atom without a cell, for a
  /// cell without a volume and for atoms more than 60 Å apart.
  std::optional<double> shortest_distance_ang{};
  /// Absent without a cell, for one that is left-handed, and where atoms are closer than 0.5 Å.
  std::optional<SpaceGroup> space_group{};
};

/// What to compute beside cell and density, which take no time.
struct QuantityOptions {
  bool shortest_distance = false;
  bool space_group = false;  ///< and with it the shortest distance
};

STRUCTURE_INGEST_API Quantities quantities_of(const IngestedStructure& record,
                                              const QuantityOptions& options = {});

}  // namespace structure_ingest
