#include "structure_ingest/check/quantities.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#include "structure_ingest/check/close_pairs.hpp"
#include "structure_ingest/check/symmetry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {
namespace {

/// Atoms closer than this share a place; no symmetry is searched for then.
constexpr double SAME_PLACE_ANG = 0.5;
constexpr double EXACT_ANG = 1e-5;
constexpr double LONGEST_ANG = 60;

bool is_finite(const std::vector<Vector3>& vectors) {
  return std::all_of(vectors.begin(), vectors.end(), [](const Vector3& vector) {
    return std::isfinite(vector[0]) && std::isfinite(vector[1]) && std::isfinite(vector[2]);
  });
}

std::optional<double> shortest_distance_ang(const IngestedStructure& record,
                                            const std::optional<CellGeometry>& geometry) {
  std::vector<Vector3> cell;
  if (record.cell_ang) {
    if (!geometry || !geometry->volume_ang3 || *geometry->volume_ang3 <= 0) return std::nullopt;
    cell = *record.cell_ang;
  }
  const std::vector<Vector3>& positions = record.positions_ang;
  if (positions.empty() || !is_finite(positions)) return std::nullopt;
  const std::vector<float> reach(positions.size(), 0);
  // A wide search gives up when it finds too many pairs: look near first, and go on from there.
  double below = 0;  // no pair is closer than this
  for (double limit = 0.5; below < LONGEST_ANG;) {
    const internal::ClosePairs found =
        internal::find_close_pairs(positions, reach, cell, static_cast<float>(limit));
    const bool is_exact = found.complete || limit - below < EXACT_ANG;
    if (!found.pairs.empty() && is_exact) return found.pairs.front().distance_ang;
    if (found.pairs.empty() && !found.complete) return std::nullopt;
    if (found.pairs.empty()) {
      below = limit;
      limit *= 1.25;
    } else {
      limit = (below + limit) / 2;
    }
  }
  return std::nullopt;
}

}  // namespace

Quantities quantities_of(const IngestedStructure& record, const QuantityOptions& options) {
  Quantities quantities;
  if (!record.ok) return quantities;
  if (record.cell_ang) quantities.cell = cell_geometry(*record.cell_ang);
  if (quantities.cell && quantities.cell->volume_ang3) {
    quantities.density_g_cm3 = density_g_cm3(record.symbols, *quantities.cell->volume_ang3);
  }
  if (!options.shortest_distance && !options.space_group) return quantities;
  const std::optional<double> shortest = shortest_distance_ang(record, quantities.cell);
  quantities.shortest_distance_ang = shortest;
  if (options.space_group && quantities.cell && quantities.cell->is_right_handed && shortest &&
      *shortest >= SAME_PLACE_ANG) {
    quantities.space_group = internal::find_symmetry(record);
  }
  return quantities;
}

}  // namespace structure_ingest
