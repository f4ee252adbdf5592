// Draws spheres, sticks and lines into an array of pixels, each hidden by what is nearer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "structure_ingest/picture/scene.hpp"

namespace structure_ingest::internal {

/// Red, green, blue and opacity.
using Colour = std::array<std::uint8_t, 4>;

Colour colour_of(std::uint32_t rgb);

/// What covers a pixel: an atom by its index in Scene::atoms, half a stick behind all of these, or
/// something else.
inline constexpr std::uint32_t NO_PIECE = 0xFFFFFFFF;
inline std::uint32_t half_stick(const Scene& scene, std::size_t stick, bool second) {
  return static_cast<std::uint32_t>(scene.atoms.size() + 2 * stick + (second ? 1 : 0));
}

struct Raster {
  Raster(int width_px, int height_px);

  /// Where the pixel in this column and row stands in the vectors below.
  std::size_t index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
           static_cast<std::size_t>(x);
  }

  int width;
  int height;
  // One a pixel, row by row from the top.
  std::vector<Colour> colour;        // nothing has opacity 0
  std::vector<float> depth;          // the larger, the nearer
  std::vector<std::uint32_t> piece;  // what covers it
};

/// Draws a scene. `projection` gives pixels of the raster, of which a pixel of the final picture is
/// `pixel` wide.
void draw(Raster& raster, const Scene& scene, const Projection& projection, double pixel);

inline constexpr int LETTER_WIDTH = 6;  // with the gap

/// Draws ASCII letters and digits in front of everything, each pixel of them a square of `size`;
/// other characters are blank. (x, y) is the upper left corner of the first.
void draw_letters(Raster& raster, std::string_view text, int x, int y, int size,
                  const Colour& colour);

/// The mean of each square of `factor` by `factor` pixels, as rows of four bytes a pixel.
std::vector<std::uint8_t> reduced(const Raster& raster, int factor);

}  // namespace structure_ingest::internal
