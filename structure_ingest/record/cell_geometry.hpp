// Derived quantities of a unit cell: lengths, angles, volume, and with the atoms the density.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest {

struct CellGeometry {
  std::array<double, 3> lengths_ang;  // a, b, c
  /// alpha (between b and c), beta (a, c), gamma (a, b); absent at a vector of length zero.
  std::array<std::optional<double>, 3> angles_deg;
  /// 0 for coplanar vectors; absent when it exceeds a double.
  std::optional<double> volume_ang3;
  bool is_right_handed = false;  ///< whether the determinant of a, b, c is positive
};

/// The geometry of three lattice vectors in ångström; nothing unless there are three and all their
/// numbers and lengths are finite.
STRUCTURE_INGEST_API std::optional<CellGeometry> cell_geometry(
    const std::vector<Vector3>& lattice_vectors_ang);

/// The density in g/cm³ of a cell of this volume that holds these atoms, by their standard atomic
/// weights; nothing when an element has no weight or the volume is zero.
STRUCTURE_INGEST_API std::optional<double> density_g_cm3(const std::vector<std::string>& symbols,
                                                         double volume_ang3);

}  // namespace structure_ingest
