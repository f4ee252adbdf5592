// What is drawn of a structure, in the coordinates of the view: to the right, up, and toward the
// viewer, in ångström.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "structure_ingest/picture/drawing.hpp"
#include "structure_ingest/picture/picture.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

// What an SVG and a PNG of the same structure have in common.
inline constexpr double STICK_RADIUS_ANG = 0.11;
inline constexpr double LEAST_SPHERE_RADIUS_PX = 1.2;
inline constexpr double EDGE_WIDTH_PX = 1.4;
inline constexpr double LEGEND_HEIGHT_PX = 28;

inline constexpr std::uint32_t EDGE_COLOUR = 0x8A93A0;
inline constexpr std::array<std::uint32_t, 3> AXIS_COLOURS = {0xD0453E, 0x2E9150, 0x3B6FD1};
inline constexpr std::uint32_t MARK_COLOUR = 0xD6249F;

/// The ring around a marked atom, from and to this many radii of its sphere.
inline constexpr double MARK_INNER = 1.15;
inline constexpr double MARK_OUTER = 1.4;

struct SceneElement {
  std::string symbol;
  std::size_t count = 0;     // of atoms in the record
  std::uint32_t colour = 0;  // 0xRRGGBB
  double radius_ang = 0;     // of the sphere
};

struct SceneAtom {
  Vector3 at;
  std::size_t atom = 0;        // in the record; several are drawn of one on a face of the cell
  std::array<int, 3> cells{};  // how many lattice vectors it is away from the atom of the record
  std::size_t element = 0;     // in Scene::elements
  bool marked = false;         // not its images
};

/// A stick between the surfaces of two atoms, by their indices in Scene::atoms.
struct SceneStick {
  std::size_t first = 0;
  std::size_t second = 0;
};

/// An edge of the cell.
struct SceneEdge {
  Vector3 from;
  Vector3 to;
  int axis = -1;  // 0, 1, 2 for the vectors a, b, c at the origin; -1 for the others
};

struct Scene {
  std::vector<SceneElement> elements{};  // in ascending character order
  std::vector<SceneAtom> atoms{};        // the farthest first
  std::vector<SceneStick> sticks{};
  std::vector<SceneEdge> edges{};
  std::size_t left_out = 0;     // atoms without a usable position
  bool has_images = false;      // whether atoms on a face are drawn on the opposite one, too
  bool without_sticks = false;  // since there are too many atoms
};

/// Of more atoms than this, images and sticks are left out of a picture.
inline constexpr std::size_t MOST_ATOMS_SHOWN_AS_STICKS = 1500;

Scene scene_of(const IngestedStructure& record, const PictureOptions& options);

/// Where the view lies in a picture: x grows to the right and y downward, in pixels.
struct Projection {
  double scale = 1;  // pixels per ångström
  double x0 = 0;
  double y0 = 0;

  /// A point in pixels; the third number, toward the viewer, is in the same unit.
  Vector3 operator()(const Vector3& at) const {
    return {x0 + scale * at[0], y0 - scale * at[1], scale * at[2]};
  }
};

/// Fits a scene into a picture of this size, with a margin; `pixel` is the size of a pixel of the
/// final picture.
Projection fit(const Scene& scene, double width_px, double height_px, double pixel);

}  // namespace structure_ingest::internal
