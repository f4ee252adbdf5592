#include <gtest/gtest.h>
#include <png.h>

#include <array>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "structure_ingest/picture/picture.hpp"
#include "tests/picture/records.hpp"

namespace {

using structure_ingest::IngestedStructure;
using structure_ingest::picture_png;
using structure_ingest::PictureOptions;
using structure_ingest::View;
using tests::cubic;
using tests::record_of;

using Pixel = std::array<int, 4>;

struct Image {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<std::uint8_t> bytes;

  Pixel at(unsigned x, unsigned y) const {
    const std::size_t i = (static_cast<std::size_t>(y) * width + x) * 4;
    return {bytes[i], bytes[i + 1], bytes[i + 2], bytes[i + 3]};
  }
};

Image decoded(const std::string& png) {
  png_image header{};
  header.version = PNG_IMAGE_VERSION;
  EXPECT_NE(png_image_begin_read_from_memory(&header, png.data(), png.size()), 0);
  header.format = PNG_FORMAT_RGBA;
  Image image{header.width, header.height, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(header))};
  EXPECT_NE(png_image_finish_read(&header, nullptr, image.bytes.data(), 0, nullptr), 0);
  return image;
}

bool is_reddish(const Pixel& pixel) {
  return pixel[0] > pixel[1] + 60 && pixel[0] > pixel[2] + 60;
}

TEST(Png, PaintsAnAtomInItsColour) {
  const IngestedStructure oxygen = record_of({{"O", {0, 0, 0}}});
  PictureOptions options = {.width_px = 90, .height_px = 60, .legend = false};
  const Image on_white = decoded(picture_png(oxygen, options));
  EXPECT_EQ(on_white.width, 90U);
  EXPECT_EQ(on_white.height, 60U);
  EXPECT_TRUE(is_reddish(on_white.at(45, 30)));
  EXPECT_EQ(on_white.at(0, 0), (Pixel{255, 255, 255, 255}));
  options.transparent = true;
  const Image clear = decoded(picture_png(oxygen, options));
  EXPECT_EQ(clear.at(45, 30), on_white.at(45, 30));
  EXPECT_EQ(clear.at(0, 0), (Pixel{0, 0, 0, 0}));
  // A pixel on the rim is a mean of the atom and of nothing.
  bool has_rim = false;
  for (unsigned x = 0; x < 45; ++x) {
    const int opacity = clear.at(x, 30)[3];
    has_rim = has_rim || (opacity > 0 && opacity < 255);
  }
  EXPECT_TRUE(has_rim);
}

TEST(Png, HidesWhatIsBehind) {
  const PictureOptions options = {
      .width_px = 120, .height_px = 120, .view = View::along_c, .legend = false};
  const auto middle = [&](double z_of_oxygen) {
    const IngestedStructure record =
        record_of({{"Au", {0, 0, 0}}, {"O", {0, 0, z_of_oxygen}}, {"Au", {0, 0, 9}}});
    IngestedStructure two = record;
    two.symbols.pop_back();
    two.positions_ang.pop_back();
    return decoded(picture_png(two, options)).at(60, 60);
  };
  EXPECT_TRUE(is_reddish(middle(6)));
  EXPECT_FALSE(is_reddish(middle(-6)));  // gold is yellow
}

TEST(Png, DrawsTheHalvesOfAStick) {
  const IngestedStructure record = record_of({{"O", {-0.6, 0, 0}}, {"N", {0.6, 0, 0}}});
  const Image image = decoded(picture_png(
      record, {.width_px = 300, .height_px = 100, .view = View::along_c, .legend = false}));
  EXPECT_TRUE(is_reddish(image.at(147, 50)));
  const Pixel blue = image.at(153, 50);
  EXPECT_GT(blue[2], blue[0] + 60);
}

TEST(Png, MarksAnAtom) {
  const IngestedStructure record = record_of({{"C", {0, 0, 0}}});
  const auto magenta = [&](const std::vector<std::size_t>& marked) {
    const Image image =
        decoded(picture_png(record, {.width_px = 120, .height_px = 120, .marked = marked}));
    int count = 0;
    for (unsigned y = 0; y < 120; ++y) {
      for (unsigned x = 0; x < 120; ++x) count += image.at(x, y) == Pixel{214, 36, 159, 255};
    }
    return count;
  };
  EXPECT_EQ(magenta({}), 0);
  EXPECT_GT(magenta({0}), 100);
}

TEST(Png, NamesTheElements) {
  const IngestedStructure record = record_of({{"C", {0, 0, 0}}});
  const Image image = decoded(picture_png(record, {.width_px = 120, .height_px = 100}));
  int dark = 0;
  for (unsigned y = 72; y < 100; ++y) {
    for (unsigned x = 28; x < 60; ++x) dark += image.at(x, y) == Pixel{74, 82, 94, 255};
  }
  EXPECT_EQ(dark, 30);  // the C and the 1 have 15 pixels each
}

TEST(Png, DrawsAnything) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<IngestedStructure> records = {
      record_of({}),
      record_of({{"H", {nan, nan, nan}}}, cubic(nan)),
      record_of({{"H", {1e300, 0, 0}}, {"H", {-1e300, 0, 0}}}, cubic(1e300)),
      record_of({{"H", {0, 0, 0}}, {"H", {9e6, 0, 0}}}, cubic(1e-300)),
      record_of({{"H", {0, 0, 0}}, {"H", {0, 0, 0}}}, cubic(0.01)),
      tests::rock_salt(6),
  };
  for (const IngestedStructure& record : records) {
    for (const View view : {View::angled, View::along_b}) {
      const Image image =
          decoded(picture_png(record, {.width_px = 64, .height_px = 48, .view = view}));
      EXPECT_EQ(image.width * image.height, 64U * 48U);
    }
  }
}

}  // namespace
