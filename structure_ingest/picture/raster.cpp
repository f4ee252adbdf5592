#include "structure_ingest/picture/raster.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

/// Where the light comes from: from above on the left, behind the viewer. A unit vector; y grows
/// downward as in the picture.
constexpr Vector3 LIGHT = {-0.43, -0.55, 0.716};

Colour shaded(const Colour& base, double nx, double ny, double nz) {
  const double lit = std::max(0.0, nx * LIGHT[0] + ny * LIGHT[1] + nz * LIGHT[2]);
  const double strength = 0.45 + 0.55 * lit;
  const double lit_2 = lit * lit, lit_4 = lit_2 * lit_2, lit_8 = lit_4 * lit_4;
  const double gleam = 90 * lit_8 * lit_8 * lit_8;
  Colour result = base;
  for (std::size_t i = 0; i < 3; ++i) {
    result[i] = static_cast<std::uint8_t>(std::min(255.0, base[i] * strength + gleam));
  }
  return result;
}

/// The pixels whose centres lie between two coordinates, within the picture.
struct Range {
  int begin;
  int end;
};

Range pixels(double low, double high, int size) {
  const auto within = [size](double x) {
    return static_cast<int>(std::clamp(x, 0.0, static_cast<double>(size)));
  };
  return {within(std::ceil(low - 0.5)), within(std::floor(high - 0.5) + 1)};
}

/// Sets a pixel unless something nearer covers it.
void put(Raster& raster, int x, int y, double depth, const Colour& colour, std::uint32_t piece) {
  const std::size_t i = raster.index(x, y);
  if (static_cast<float>(depth) < raster.depth[i]) return;
  raster.depth[i] = static_cast<float>(depth);
  raster.colour[i] = colour;
  raster.piece[i] = piece;
}

/// Calls `visit` for the pixels of the square around a disc, with the way to each from its centre.
template <typename Visit>
void for_pixels_around(const Raster& raster, const Vector3& at, double radius, Visit visit) {
  const Range rows = pixels(at[1] - radius, at[1] + radius, raster.height);
  const Range columns = pixels(at[0] - radius, at[0] + radius, raster.width);
  for (int y = rows.begin; y < rows.end; ++y) {
    for (int x = columns.begin; x < columns.end; ++x) visit(x, y, x + 0.5 - at[0], y + 0.5 - at[1]);
  }
}

void draw_sphere(Raster& raster, const Vector3& at, double radius, const Colour& colour,
                 std::uint32_t piece) {
  for_pixels_around(raster, at, radius, [&](int x, int y, double right, double down) {
    const double dx = right / radius, dy = down / radius;
    const double rest = 1 - dx * dx - dy * dy;
    if (rest < 0) return;
    const double dz = std::sqrt(rest);
    put(raster, x, y, at[2] + radius * dz, shaded(colour, dx, dy, dz), piece);
  });
}

void draw_ring(Raster& raster, const Vector3& at, double inner, double outer) {
  for_pixels_around(raster, at, outer, [&](int x, int y, double right, double down) {
    const double distance = std::hypot(right, down);
    if (distance < inner || distance > outer) return;
    // In front of everything: what is marked must be seen.
    put(raster, x, y, std::numeric_limits<float>::max(), colour_of(MARK_COLOUR), NO_PIECE);
  });
}

/// A cylinder from `from` to `to`, shaded if it is a stick. With u its direction, n the unit vector
/// across it in the picture and m the one that completes them and faces the viewer, its surface is
/// at from + t u + s n + w m, with s from -radius to radius and w = sqrt(radius² - s²).
void draw_cylinder(Raster& raster, const Vector3& from, const Vector3& to, double radius,
                   const Colour& colour, std::uint32_t piece) {
  const Vector3 along = plus(to, from, -1);
  const double length = std::hypot(along[0], along[1], along[2]);
  if (!(length > 0)) return;
  const Vector3 u = {along[0] / length, along[1] / length, along[2] / length};
  const double across = std::hypot(u[0], u[1]);
  if (across < 1e-6) return;  // it points at the viewer, behind its sphere
  const Vector3 n = {-u[1] / across, u[0] / across, 0};
  const Vector3 m = {-u[0] * u[2] / across, -u[1] * u[2] / across, across};
  const Range rows =
      pixels(std::min(from[1], to[1]) - radius, std::max(from[1], to[1]) + radius, raster.height);
  for (int y = rows.begin; y < rows.end; ++y) {
    // The pixels of this row that are near the line: not the whole row, of a long thin edge.
    double low = std::min(from[0], to[0]) - radius, high = std::max(from[0], to[0]) + radius;
    if (std::abs(n[0]) > 1e-6) {
      const double middle = from[0] - (y + 0.5 - from[1]) * n[1] / n[0];
      const double reach = radius / std::abs(n[0]);
      low = std::max(low, middle - reach);
      high = std::min(high, middle + reach);
    }
    const Range columns = pixels(low, high, raster.width);
    for (int x = columns.begin; x < columns.end; ++x) {
      const double dx = x + 0.5 - from[0], dy = y + 0.5 - from[1];
      const double s = dx * n[0] + dy * n[1];
      if (std::abs(s) > radius) continue;
      const double w = std::sqrt(radius * radius - s * s);
      const double t = ((dx * u[0] + dy * u[1]) / across + w * u[2]) / across;
      if (t < 0 || t > length) continue;
      const double depth = from[2] + t * u[2] + w * across;
      const Colour seen = piece != NO_PIECE
                              ? shaded(colour, (s * n[0] + w * m[0]) / radius,
                                       (s * n[1] + w * m[1]) / radius, w * m[2] / radius)
                              : colour;
      put(raster, x, y, depth, seen, piece);
    }
  }
}

}  // namespace

Colour colour_of(std::uint32_t rgb) {
  return {static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8 & 0xFF),
          static_cast<std::uint8_t>(rgb & 0xFF), 255};
}

Raster::Raster(int width_px, int height_px) : width(width_px), height(height_px) {
  const std::size_t pixels =
      static_cast<std::size_t>(width_px) * static_cast<std::size_t>(height_px);
  colour.resize(pixels, Colour{});
  depth.resize(pixels, std::numeric_limits<float>::lowest());
  piece.resize(pixels, NO_PIECE);
}

void draw(Raster& raster, const Scene& scene, const Projection& projection, double pixel) {
  for (const SceneEdge& edge : scene.edges) {
    const Colour colour =
        colour_of(edge.axis < 0 ? EDGE_COLOUR : AXIS_COLOURS[static_cast<std::size_t>(edge.axis)]);
    draw_cylinder(raster, projection(edge.from), projection(edge.to), EDGE_WIDTH_PX * pixel / 2,
                  colour, false);
  }
  for (std::size_t i = 0; i < scene.sticks.size(); ++i) {
    const SceneAtom& first = scene.atoms[scene.sticks[i].first];
    const SceneAtom& second = scene.atoms[scene.sticks[i].second];
    const Vector3 from = projection(first.at), to = projection(second.at);
    const Vector3 middle = scaled(plus(from, to), 0.5);
    const double radius = STICK_RADIUS_ANG * projection.scale;
    draw_cylinder(raster, from, middle, radius, colour_of(scene.elements[first.element].colour),
                  half_stick(scene, i, false));
    draw_cylinder(raster, middle, to, radius, colour_of(scene.elements[second.element].colour),
                  half_stick(scene, i, true));
  }
  for (std::size_t i = 0; i < scene.atoms.size(); ++i) {
    const SceneAtom& atom = scene.atoms[i];
    const SceneElement& element = scene.elements[atom.element];
    const double radius =
        std::max(LEAST_SPHERE_RADIUS_PX * pixel, element.radius_ang * projection.scale);
    const Vector3 at = projection(atom.at);
    draw_sphere(raster, at, radius, colour_of(element.colour), static_cast<std::uint32_t>(i));
    if (atom.marked) draw_ring(raster, at, MARK_INNER * radius, MARK_OUTER * radius);
  }
}

std::vector<std::uint8_t> reduced(const Raster& raster, int factor) {
  const int width = raster.width / factor, height = raster.height / factor;
  std::vector<std::uint8_t> bytes;
  bytes.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  const unsigned samples = static_cast<unsigned>(factor) * static_cast<unsigned>(factor);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      std::array<unsigned, 4> sum{};  // of colours times opacity, and of opacity
      for (int j = 0; j < factor; ++j) {
        for (int i = 0; i < factor; ++i) {
          const Colour& sample = raster.colour[raster.index(x * factor + i, y * factor + j)];
          for (std::size_t k = 0; k < 3; ++k) sum[k] += sample[k] * sample[3];
          sum[3] += sample[3];
        }
      }
      for (std::size_t k = 0; k < 3; ++k) {
        bytes.push_back(static_cast<std::uint8_t>(sum[3] == 0 ? 0 : sum[k] / sum[3]));
      }
      bytes.push_back(static_cast<std::uint8_t>(sum[3] / samples));
    }
  }
  return bytes;
}

}  // namespace structure_ingest::internal
