#include <png.h>

#include <cmath>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "structure_ingest/picture/picture.hpp"
#include "structure_ingest/picture/picture_text.hpp"
#include "structure_ingest/picture/raster.hpp"
#include "structure_ingest/picture/scene.hpp"

namespace structure_ingest {
namespace {

using internal::Projection;
using internal::Raster;
using internal::Scene;

constexpr std::uint32_t TEXT_COLOUR = 0x4A525E;

/// Each pixel is the mean of a square of this many by this many; fewer for a large picture.
int oversampling(const PictureOptions& options) {
  const double pixels = static_cast<double>(options.width_px) * options.height_px;
  return pixels <= 1'000'000 ? 3 : pixels <= 4'000'000 ? 2 : 1;
}

/// Elements with their colours and counts in a row at the bottom; those that have no room are left
/// out.
void draw_legend(Raster& raster, const Scene& scene, int factor) {
  const int letter = internal::LETTER_WIDTH * factor;
  const int dot = 7 * factor;
  const int y = raster.height - static_cast<int>(internal::LEGEND_HEIGHT_PX) * factor;
  Scene dots{.elements = scene.elements};
  for (internal::SceneElement& element : dots.elements) element.radius_ang = dot;
  int x = 12 * factor;
  for (std::size_t i = 0; i < scene.elements.size(); ++i) {
    const internal::SceneElement& element = scene.elements[i];
    const std::string text = element.symbol + " " + std::to_string(element.count);
    const int width = 2 * dot + 2 * letter + static_cast<int>(text.size()) * letter;
    if (x + width > raster.width) break;
    const Vector3 at = {static_cast<double>(x + dot), -static_cast<double>(y + 10 * factor), 1e30};
    dots.atoms.push_back({.at = at, .atom = i, .element = i});
    internal::draw_letters(raster, text, x + 2 * dot + letter, y + 5 * factor, factor,
                           internal::colour_of(TEXT_COLOUR));
    x += width + letter;
  }
  internal::draw(raster, dots, Projection{}, factor);
}

/// The names of the axes beside the ends of the lattice vectors.
void draw_axis_names(Raster& raster, const Scene& scene, const Projection& projection, int factor) {
  for (const internal::SceneEdge& edge : scene.edges) {
    if (edge.axis < 0) continue;
    const auto axis = static_cast<std::size_t>(edge.axis);
    const Vector3 at = internal::axis_name_place(scene, edge, projection, 12.0 * factor);
    internal::draw_letters(raster, std::string(1, "abc"[axis]),
                           static_cast<int>(at[0]) - 3 * factor,
                           static_cast<int>(at[1]) - 7 * factor, factor,
                           internal::colour_of(internal::AXIS_COLOURS[axis]));
  }
}

void paint_white_below(std::vector<std::uint8_t>& pixels) {
  for (std::size_t i = 0; i < pixels.size(); i += 4) {
    const unsigned opacity = pixels[i + 3];
    for (std::size_t k = 0; k < 3; ++k) {
      pixels[i + k] =
          static_cast<std::uint8_t>((pixels[i + k] * opacity + 255 * (255 - opacity) + 127) / 255);
    }
    pixels[i + 3] = 255;
  }
}

std::string encoded(const std::vector<std::uint8_t>& pixels, const PictureOptions& options) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(options.width_px);
  image.height = static_cast<png_uint_32>(options.height_px);
  image.format = PNG_FORMAT_RGBA;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::string bytes(size, '\0');
  // With memory for the largest result, only the lack of memory can make this fail.
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, nullptr) == 0) {
    throw std::bad_alloc();
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

std::string picture_png(const IngestedStructure& record, const PictureOptions& options) {
  internal::require_drawable(record, options);
  const int factor = oversampling(options);
  Raster raster(options.width_px * factor, options.height_px * factor);
  const Scene scene = internal::scene_of(record, options);
  const double legend = options.legend ? internal::LEGEND_HEIGHT_PX * factor : 0;
  const Projection projection = internal::fit(scene, raster.width, raster.height - legend, factor);
  internal::draw(raster, scene, projection, factor);
  if (options.legend) {
    draw_axis_names(raster, scene, projection, factor);
    draw_legend(raster, scene, factor);
  }
  std::vector<std::uint8_t> pixels = internal::reduced(raster, factor);
  if (!options.transparent) paint_white_below(pixels);
  return encoded(pixels, options);
}

}  // namespace structure_ingest
