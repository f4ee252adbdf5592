#include "structure_ingest/picture/drawing.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "structure_ingest/check/close_pairs.hpp"
#include "structure_ingest/picture/view_axes.hpp"
#include "structure_ingest/record/elements.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest {
namespace {

using internal::ClosePair;

constexpr double UNKNOWN_RADIUS_ANG = 1.5;
constexpr double STICK_TOLERANCE_ANG = 0.4;
constexpr double ON_A_FACE_ANG = 0.05;  // atoms closer to a face of the cell are on it
constexpr double FARTHEST_CELLS = 1e6;  // atoms farther away stay where they are

/// Whether an element is a non-metal or a metalloid.
bool is_non_metal(std::string_view symbol) {
  constexpr std::array<std::string_view, 25> symbols = {
      "H",  "He", "B",  "C",  "N",  "O",  "F",  "Ne", "Si", "P",  "S",  "Cl", "Ar",
      "Ge", "As", "Se", "Br", "Kr", "Sb", "Te", "I",  "Xe", "At", "Rn", "Og"};
  return std::find(symbols.begin(), symbols.end(), symbol) != symbols.end();
}

/// Finds where atoms lie in a cell.
class CellPlaces {
 public:
  explicit CellPlaces(const std::vector<Vector3>& cell) {
    using internal::cross, internal::dot;
    const double volume = dot(cell[0], cross(cell[1], cell[2]));
    for (std::size_t i = 0; i < 3; ++i) {
      inverse_[i] = cross(cell[(i + 1) % 3], cell[(i + 2) % 3]);
      on_face_[i] = ON_A_FACE_ANG * std::sqrt(dot(inverse_[i], inverse_[i])) / std::abs(volume);
      for (double& x : inverse_[i]) x /= volume;
    }
  }

  DrawnPlace place_of(const Vector3& at) const {
    DrawnPlace place;
    for (std::size_t i = 0; i < 3; ++i) {
      const double fraction = internal::dot(inverse_[i], at);
      if (!(std::abs(fraction) < FARTHEST_CELLS)) return {};
      const double nearest = std::round(fraction);
      place.on_face[i] = std::abs(fraction - nearest) <= on_face_[i];
      place.into_cell[i] = -static_cast<int>(place.on_face[i] ? nearest : std::floor(fraction));
    }
    return place;
  }

 private:
  std::array<Vector3, 3> inverse_{};  // its rows give fractional coordinates
  Vector3 on_face_{};                 // in fractions
};

void add_sticks(const IngestedStructure& record, Drawing& drawing) {
  const std::size_t natoms = record.symbols.size();
  drawing.without_sticks = true;
  if (natoms > MOST_ATOMS_WITH_STICKS) return;
  std::vector<std::size_t> atoms;  // those that can be drawn
  std::vector<Vector3> positions;
  std::vector<float> reach;
  std::vector<bool> non_metal;
  for (std::size_t i = 0; i < natoms; ++i) {
    if (!internal::can_be_drawn(record.positions_ang[i])) continue;
    const std::string& symbol = record.symbols[i];
    atoms.push_back(i);
    positions.push_back(record.positions_ang[i]);
    reach.push_back(static_cast<float>(element_look(symbol).radius_ang + STICK_TOLERANCE_ANG / 2));
    non_metal.push_back(is_non_metal(symbol));
  }
  const std::span<const Vector3> cell =
      drawing.has_cell ? std::span<const Vector3>(*record.cell_ang) : std::span<const Vector3>();
  const internal::ClosePairs found = internal::find_close_pairs(positions, reach, cell, 0);
  if (!found.complete) return;
  drawing.without_sticks = false;
  std::vector<bool> beside_non_metal(atoms.size());
  for (const ClosePair& pair : found.pairs) {
    if (non_metal[pair.first]) beside_non_metal[pair.second] = true;
    if (non_metal[pair.second]) beside_non_metal[pair.first] = true;
  }
  for (const ClosePair& pair : found.pairs) {
    const bool of_metals = !non_metal[pair.first] && !non_metal[pair.second];
    if (of_metals && beside_non_metal[pair.first] && beside_non_metal[pair.second]) continue;
    drawing.sticks.push_back({atoms[pair.first], atoms[pair.second], pair.cells});
  }
}

}  // namespace

ElementLook element_look(std::string_view symbol) {
  const auto radius = static_cast<double>(internal::covalent_radius_ang(symbol));
  return {.colour = internal::element_of(symbol).colour,
          .radius_ang = radius > 0 ? radius : UNKNOWN_RADIUS_ANG};
}

bool DrawnPlace::is_inside() const {
  for (std::size_t i = 0; i < 3; ++i) {
    if (into_cell[i] != 0 && !(on_face[i] && into_cell[i] == -1)) return false;
  }
  return true;
}

Drawing drawing_of(const IngestedStructure& record, View view) {
  Drawing drawing{.axes = internal::view_axes(record, view),
                  .has_cell = internal::has_usable_cell(record)};
  if (drawing.has_cell) {
    const CellPlaces places(*record.cell_ang);
    for (const Vector3& at : record.positions_ang) drawing.places.push_back(places.place_of(at));
  }
  add_sticks(record, drawing);
  return drawing;
}

}  // namespace structure_ingest
