#include "structure_ingest/check/quantities.hpp"

#include <spglib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "structure_ingest/check/close_pairs.hpp"
#include "structure_ingest/check/input.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest {
namespace {

constexpr double EXACT_ANG = 1e-5;
constexpr double LONGEST_ANG = 60;

struct FreeDataset {
  void operator()(SpglibDataset* dataset) const { spg_free_dataset(dataset); }
};

std::optional<double> shortest_distance_ang(const IngestedStructure& record,
                                            const std::optional<CellGeometry>& geometry) {
  std::vector<Vector3> cell;
  if (record.cell_ang) {
    if (!geometry || !geometry->volume_ang3 || *geometry->volume_ang3 <= 0) return std::nullopt;
    cell = *record.cell_ang;
  }
  const std::vector<Vector3>& positions = record.positions_ang;
  if (positions.empty() || !std::all_of(positions.begin(), positions.end(), internal::is_finite))
    return std::nullopt;
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
      *shortest >= internal::SAME_PLACE_ANG) {
    quantities.space_group = internal::find_symmetry(record);
  }
  return quantities;
}

namespace internal {

std::optional<SpaceGroup> find_symmetry(const IngestedStructure& record) {
  if (!record.cell_ang || record.cell_ang->size() != 3 || record.symbols.empty() ||
      record.symbols.size() > MOST_ATOMS_FOR_SYMMETRY) {
    return std::nullopt;
  }
  const std::vector<Vector3>& cell = *record.cell_ang;
  double lattice[3][3];  // vectors as columns
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t k = 0; k < 3; ++k) lattice[k][i] = cell[i][k];
  }
  const std::array<Vector3, 3> reciprocal = {cross(cell[1], cell[2]), cross(cell[2], cell[0]),
                                             cross(cell[0], cell[1])};
  const double volume = dot(cell[0], reciprocal[0]);
  const auto count = record.symbols.size();
  const std::unique_ptr<double[][3]> positions(new double[count][3]);
  std::vector<int> types;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      double fraction = 0;
      for (std::size_t k = 0; k < 3; ++k) {
        fraction += reciprocal[axis][k] * record.positions_ang[i][k] / volume;
      }
      if (!(std::abs(fraction) < 1e6)) return std::nullopt;
      positions[i][axis] = fraction - std::floor(fraction);
    }
    const auto species = std::find(record.species.begin(), record.species.end(), record.symbols[i]);
    types.push_back(static_cast<int>(species - record.species.begin()) + 1);
  }
  const std::unique_ptr<SpglibDataset, FreeDataset> dataset(spg_get_dataset(
      lattice, positions.get(), types.data(), static_cast<int>(count), SYMMETRY_TOLERANCE_ANG));
  if (!dataset || dataset->spacegroup_number == 0) return std::nullopt;
  const int* const primitive = dataset->mapping_to_primitive;
  return SpaceGroup{
      .number = dataset->spacegroup_number,
      .name = dataset->international_symbol,
      .primitive_atoms =
          static_cast<std::size_t>(*std::max_element(primitive, primitive + count)) + 1,
      .conventional_atoms = static_cast<std::size_t>(dataset->n_std_atoms)};
}

}  // namespace internal
}  // namespace structure_ingest
