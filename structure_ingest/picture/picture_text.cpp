#include "structure_ingest/picture/picture_text.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "structure_ingest/base/words.hpp"
#include "structure_ingest/record/cell_geometry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

constexpr int LEAST_SIZE_PX = 16;
constexpr int LARGEST_SIZE_PX = 4096;

std::string cell_text(const IngestedStructure& record) {
  const auto geometry = record.cell_ang ? cell_geometry(*record.cell_ang) : std::nullopt;
  if (!geometry) return "";
  const auto& [a, b, c] = geometry->lengths_ang;
  std::array<char, 200> text{};
  std::snprintf(text.data(), text.size(), "; cell a %.4g, b %.4g, c %.4g \u00C5", a, b, c);
  return text.data();
}

}  // namespace

void require_drawable(const IngestedStructure& record, const PictureOptions& options) {
  const std::size_t atoms = record.positions_ang.size();
  if (!record.ok || record.symbols.size() != atoms) {
    throw std::invalid_argument("there is no structure to draw");
  }
  for (const int size : {options.width_px, options.height_px}) {
    if (size < LEAST_SIZE_PX || size > LARGEST_SIZE_PX) {
      throw std::invalid_argument("the size of a picture is from 16 to 4096 pixels");
    }
  }
}

std::string description_of(const IngestedStructure& record, const Scene& scene, std::size_t drawn) {
  std::string text = counted(record.symbols.size(), "atom") + ":";
  for (const SceneElement& element : scene.elements) {
    text +=
        (text.ends_with(':') ? " " : ", ") + std::to_string(element.count) + " " + element.symbol;
  }
  text += cell_text(record) + ".";
  if (scene.has_images) {
    text += " Atoms on a face of the cell are drawn on the opposite face as well.";
  }
  if (drawn < scene.atoms.size()) text += " Drawn: the " + counted(drawn, "atom") + " in front.";
  if (scene.without_sticks) text += " Without sticks between atoms.";
  if (scene.left_out > 0) {
    text += " Not drawn: " + counted(scene.left_out, "atom") + " without a usable position.";
  }
  return text;
}

Vector3 axis_name_place(const Scene& scene, const SceneEdge& edge, const Projection& projection,
                        double beyond_px) {
  const Vector3 from = projection(edge.from), to = projection(edge.to);
  double radius = 0;
  for (const SceneAtom& atom : scene.atoms) {
    const Vector3 at = projection(atom.at);
    const double r = scene.elements[atom.element].radius_ang * projection.scale;
    if (std::hypot(at[0] - to[0], at[1] - to[1]) < r) radius = std::max(radius, r);
  }
  const double length = std::hypot(to[0] - from[0], to[1] - from[1]);
  const double share = length > 1 ? (radius + beyond_px) / length : 0;
  return {to[0] + share * (to[0] - from[0]), to[1] + share * (to[1] - from[1]), to[2]};
}

}  // namespace structure_ingest::internal
