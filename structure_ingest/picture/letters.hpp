// Letters and digits as pixels, for the legend of a PNG.
#pragma once

#include <string_view>

#include "structure_ingest/picture/raster.hpp"

namespace structure_ingest::internal {

inline constexpr int LETTER_WIDTH = 6;  // with the gap
inline constexpr int LETTER_HEIGHT = 11;

/// Draws ASCII letters and digits in front of everything, each pixel of them a square of `size`;
/// other characters are blank. (x, y) is the upper left corner of the first.
void draw_letters(Raster& raster, std::string_view text, int x, int y, int size,
                  const Colour& colour);

}  // namespace structure_ingest::internal
