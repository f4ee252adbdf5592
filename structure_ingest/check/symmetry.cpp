#include "structure_ingest/check/symmetry.hpp"

#include <spglib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

struct FreeDataset {
  void operator()(SpglibDataset* dataset) const { spg_free_dataset(dataset); }
};

}  // namespace

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

}  // namespace structure_ingest::internal
