#include "structure_ingest/picture/scene.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

#include "structure_ingest/picture/view_axes.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

constexpr double LARGEST_SCALE = 80;  // pixels per ångström: one atom need not fill the picture

/// By how many lattice vectors the images of an atom on a face of the cell are away from it; the
/// first is the atom itself.
std::vector<std::array<int, 3>> images_of(const DrawnPlace& place) {
  std::vector<std::array<int, 3>> images = {{0, 0, 0}};
  if (!place.is_inside()) return images;
  for (std::size_t i = 0; i < 3; ++i) {
    if (!place.on_face[i]) continue;
    for (std::size_t k = images.size(); k-- > 0;) {
      images.push_back(images[k]);
      images.back()[i] += place.into_cell[i] == 0 ? 1 : -1;
    }
  }
  return images;
}

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

/// Adds the sticks whose both ends are drawn.
void add_sticks(Scene& scene, const Drawing& drawing) {
  std::map<std::pair<std::size_t, std::array<int, 3>>, std::size_t> drawn;
  std::map<std::size_t, std::vector<std::size_t>> places_of_atom;
  for (std::size_t i = 0; i < scene.atoms.size(); ++i) {
    drawn[{scene.atoms[i].atom, scene.atoms[i].cells}] = i;
    places_of_atom[scene.atoms[i].atom].push_back(i);
  }
  for (const DrawnStick& stick : drawing.sticks) {
    for (const std::size_t from : places_of_atom[stick.first]) {
      std::array<int, 3> cells = scene.atoms[from].cells;
      for (std::size_t i = 0; i < 3; ++i) cells[i] += stick.cells[i];
      const auto to = drawn.find({stick.second, cells});
      if (to != drawn.end()) scene.sticks.push_back({from, to->second});
    }
  }
}

}  // namespace

Scene scene_of(const IngestedStructure& record, const PictureOptions& options) {
  Scene scene;
  std::map<std::string, std::size_t> element_of;
  for (const auto& [symbol, count] : symbol_counts(record.symbols)) {
    element_of[symbol] = scene.elements.size();
    scene.elements.push_back({symbol, count, element_look(symbol).colour, 0});
  }
  std::vector<bool> marked(record.symbols.size());
  for (const std::size_t atom : options.marked) {
    if (atom < marked.size()) marked[atom] = true;
  }

  const Drawing drawing = drawing_of(record, options.view);
  const bool are_many = record.symbols.size() > MOST_ATOMS_SHOWN_AS_STICKS;
  for (std::size_t i = 0; i < record.symbols.size(); ++i) {
    const Vector3& at = record.positions_ang[i];
    if (!can_be_drawn(at)) {
      ++scene.left_out;
      continue;
    }
    const std::size_t element = element_of.at(record.symbols[i]);
    const bool has_images = drawing.has_cell && !are_many;
    const auto images = images_of(has_images ? drawing.places[i] : DrawnPlace());
    for (std::size_t k = 0; k < images.size(); ++k) {
      Vector3 moved = at;
      for (std::size_t axis = 0; axis < 3 && k > 0; ++axis) {
        moved = plus(moved, (*record.cell_ang)[axis], images[k][axis]);
      }
      scene.atoms.push_back(
          {seen_from(drawing.axes, moved), i, images[k], element, marked[i] && k == 0});
    }
    scene.has_images = scene.has_images || images.size() > 1;
  }
  std::stable_sort(scene.atoms.begin(), scene.atoms.end(),
                   [](const SceneAtom& a, const SceneAtom& b) { return a.at[2] < b.at[2]; });
  scene.without_sticks = drawing.without_sticks || scene.atoms.size() > MOST_ATOMS_SHOWN_AS_STICKS;
  if (!scene.without_sticks) add_sticks(scene, drawing);
  for (SceneElement& element : scene.elements) {
    // Sticks need room; without them spheres that touch show the shape.
    const double radius = element_look(element.symbol).radius_ang;
    element.radius_ang = scene.without_sticks ? radius : 0.2 + 0.35 * radius;
  }
  if (drawing.has_cell) add_edges(scene, *record.cell_ang, drawing.axes);
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
