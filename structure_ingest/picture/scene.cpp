#include "structure_ingest/picture/scene.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <optional>

#include "structure_ingest/check/close_pairs.hpp"
#include "structure_ingest/check/covalent_radii.hpp"
#include "structure_ingest/picture/drawing_style.hpp"
#include "structure_ingest/picture/element_colours.hpp"
#include "structure_ingest/picture/vectors.hpp"
#include "structure_ingest/picture/view_axes.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace structure_ingest::internal {
namespace {

constexpr double FARTHEST_ANG = 1e7;    // beyond it a picture would show nothing
constexpr double ON_A_FACE_ANG = 0.05;  // atoms closer to a face of the cell are on it
constexpr double LARGEST_SCALE = 80;    // pixels per ångström: one atom need not fill the picture
constexpr double UNKNOWN_RADIUS_ANG = 1.5;

bool is_usable(const Vector3& at) {
  return std::all_of(at.begin(), at.end(), [](double x) { return std::abs(x) < FARTHEST_ANG; });
}

double covalent_radius_or_usual(const std::string& symbol) {
  const double radius = covalent_radius_ang(symbol);
  return radius > 0 ? radius : UNKNOWN_RADIUS_ANG;
}

/// The lattice vectors by which the images of an atom inside the cell, or on its faces, are away
/// from it.
class FaceImages {
 public:
  explicit FaceImages(const std::vector<Vector3>& cell) : cell_(cell) {
    const double volume = dot(cell[0], cross(cell[1], cell[2]));
    for (std::size_t i = 0; i < 3; ++i) {
      inverse_[i] = cross(cell[(i + 1) % 3], cell[(i + 2) % 3]);
      const double area = std::sqrt(dot(inverse_[i], inverse_[i]));
      on_face_[i] = ON_A_FACE_ANG * area / std::abs(volume);
      for (double& x : inverse_[i]) x /= volume;
    }
  }

  std::vector<Vector3> of(const Vector3& at) const {
    std::vector<Vector3> shifts = {Vector3{}};
    for (std::size_t i = 0; i < 3; ++i) {
      const double fraction = dot(inverse_[i], at);
      if (fraction < -on_face_[i] || fraction > 1 + on_face_[i]) return {Vector3{}};
      const double step = fraction <= on_face_[i] ? 1 : fraction >= 1 - on_face_[i] ? -1 : 0;
      if (step == 0) continue;
      for (std::size_t k = shifts.size(); k-- > 0;) {
        shifts.push_back(plus(shifts[k], cell_[i], step));
      }
    }
    return shifts;
  }

 private:
  const std::vector<Vector3>& cell_;
  std::array<Vector3, 3> inverse_{};  // its rows give fractional coordinates
  Vector3 on_face_{};                 // in fractions
};

void add_edges(Scene& scene, const std::vector<Vector3>& cell, const ViewAxes& axes) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const Vector3& one = cell[(axis + 1) % 3];
    const Vector3& other = cell[(axis + 2) % 3];
    for (const auto& [i, k] : {std::array{0, 0}, {0, 1}, {1, 0}, {1, 1}}) {
      const Vector3 from = plus(plus({}, one, i), other, k);
      scene.edges.push_back({seen_from(axes, from), seen_from(axes, plus(from, cell[axis])),
                             i + k == 0 ? static_cast<int>(axis) : -1});
    }
  }
}

void add_sticks(Scene& scene) {
  std::vector<Vector3> positions;
  std::vector<float> reach;
  for (const SceneAtom& atom : scene.atoms) {
    positions.push_back(atom.at);
    reach.push_back(static_cast<float>(
        covalent_radius_or_usual(scene.elements[atom.element].symbol) + STICK_TOLERANCE_ANG / 2));
  }
  const ClosePairs found = find_close_pairs(positions, reach, {}, 0);
  scene.without_sticks = !found.complete;
  if (!found.complete) return;
  const auto non_metal = [&](std::size_t atom) {
    return is_non_metal(scene.elements[scene.atoms[atom].element].symbol);
  };
  std::vector<bool> beside_non_metal(scene.atoms.size());
  for (const ClosePair& pair : found.pairs) {
    if (non_metal(pair.first)) beside_non_metal[pair.second] = true;
    if (non_metal(pair.second)) beside_non_metal[pair.first] = true;
  }
  for (const ClosePair& pair : found.pairs) {
    const bool of_metals = !non_metal(pair.first) && !non_metal(pair.second);
    if (of_metals && beside_non_metal[pair.first] && beside_non_metal[pair.second]) continue;
    scene.sticks.push_back({pair.first, pair.second});
  }
}

}  // namespace

bool is_non_metal(std::string_view symbol) {
  constexpr std::array<std::string_view, 25> symbols = {
      "H",  "He", "B",  "C",  "N",  "O",  "F",  "Ne", "Si", "P",  "S",  "Cl", "Ar",
      "Ge", "As", "Se", "Br", "Kr", "Sb", "Te", "I",  "Xe", "At", "Rn", "Og"};
  return std::find(symbols.begin(), symbols.end(), symbol) != symbols.end();
}

Scene scene_of(const IngestedStructure& record, const PictureOptions& options) {
  Scene scene;
  std::map<std::string, std::size_t> element_of;
  for (const auto& [symbol, count] : symbol_counts(record.symbols)) {
    element_of[symbol] = scene.elements.size();
    scene.elements.push_back({symbol, count, element_colour(symbol), 0});
  }
  std::vector<bool> marked(record.symbols.size());
  for (const std::size_t atom : options.marked) {
    if (atom < marked.size()) marked[atom] = true;
  }

  const ViewAxes axes = view_axes(record, options.view);
  const bool has_cell = has_usable_cell(record);
  std::optional<FaceImages> images;
  if (has_cell && record.symbols.size() <= MOST_ATOMS_WITH_STICKS) images.emplace(*record.cell_ang);
  for (std::size_t i = 0; i < record.symbols.size(); ++i) {
    const Vector3& at = record.positions_ang[i];
    if (!is_usable(at)) {
      ++scene.left_out;
      continue;
    }
    const std::size_t element = element_of.at(record.symbols[i]);
    const std::vector<Vector3> shifts = images ? images->of(at) : std::vector{Vector3{}};
    for (std::size_t k = 0; k < shifts.size(); ++k) {
      scene.atoms.push_back(
          {seen_from(axes, plus(at, shifts[k])), i, element, marked[i] && k == 0});
    }
    scene.has_images = scene.has_images || shifts.size() > 1;
  }
  std::stable_sort(scene.atoms.begin(), scene.atoms.end(),
                   [](const SceneAtom& a, const SceneAtom& b) { return a.at[2] < b.at[2]; });
  if (scene.atoms.size() <= MOST_ATOMS_WITH_STICKS) {
    add_sticks(scene);
  } else {
    scene.without_sticks = true;
  }
  for (SceneElement& element : scene.elements) {
    // Sticks need room; without them spheres that touch show the shape.
    const double radius = covalent_radius_or_usual(element.symbol);
    element.radius_ang = scene.without_sticks ? radius : 0.2 + 0.35 * radius;
  }
  if (has_cell) add_edges(scene, *record.cell_ang, axes);
  return scene;
}

Projection fit(const Scene& scene, double width_px, double height_px, double pixel) {
  const double infinity = std::numeric_limits<double>::infinity();
  std::array<double, 2> low = {infinity, infinity}, high = {-infinity, -infinity};
  const auto include = [&](const Vector3& at, double radius) {
    for (std::size_t i = 0; i < 2; ++i) {
      low[i] = std::min(low[i], at[i] - radius);
      high[i] = std::max(high[i], at[i] + radius);
    }
  };
  for (const SceneAtom& atom : scene.atoms) {
    include(atom.at, scene.elements[atom.element].radius_ang * (atom.marked ? MARK_OUTER : 1));
  }
  for (const SceneEdge& edge : scene.edges) {
    include(edge.from, 0);
    include(edge.to, 0);
  }
  if (low[0] > high[0]) return {1, width_px / 2, height_px / 2};
  const double margin = std::min(std::min(width_px, height_px) * 0.06, 20 * pixel);
  const double scale =
      std::min({LARGEST_SCALE * pixel, (width_px - 2 * margin) / (high[0] - low[0]),
                (height_px - 2 * margin) / (high[1] - low[1])});
  return {scale, width_px / 2 - scale * (low[0] + high[0]) / 2,
          height_px / 2 + scale * (low[1] + high[1]) / 2};
}

}  // namespace structure_ingest::internal
