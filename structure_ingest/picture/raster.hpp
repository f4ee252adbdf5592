// Draws spheres, sticks and lines into an array of pixels, each hidden by what is nearer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "structure_ingest/picture/scene.hpp"

namespace structure_ingest::internal {

/// Red, green, blue and opacity.
using Colour = std::array<std::uint8_t, 4>;

Colour colour_of(std::uint32_t rgb);

/// The index of a pixel that no atom covers.
inline constexpr std::uint32_t NO_ATOM = 0xFFFFFFFF;

struct Raster {
  Raster(int width_px, int height_px);

  int width;
  int height;
  // One a pixel, row by row from the top.
  std::vector<Colour> colour;       // nothing has opacity 0
  std::vector<float> depth;         // the larger, the nearer
  std::vector<std::uint32_t> atom;  // the index in Scene::atoms
};

/// Draws a scene. `projection` gives pixels of the raster, of which a pixel of the final picture is
/// `pixel` wide.
void draw(Raster& raster, const Scene& scene, const Projection& projection, double pixel);

/// The mean of each square of `factor` by `factor` pixels, as rows of four bytes a pixel.
std::vector<std::uint8_t> reduced(const Raster& raster, int factor);

}  // namespace structure_ingest::internal
