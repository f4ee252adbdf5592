#include "structure_ingest/picture/picture.hpp"

#include <png.h>

#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>

#include "tests/picture/records.hpp"
#include "tests/scratch_folder.hpp"

namespace structure_ingest {
namespace {

using tests::cubic;
using tests::record_of;
using tests::rock_salt;

/// What stands between `begin` and the next `end`.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t from = text.find(begin);
  if (from == std::string::npos) return "(no " + begin + ")";
  return text.substr(from + begin.size(), text.find(end, from) - from - begin.size());
}

TEST(Svg, DrawsHydrogenChlorideExactly) {
  const IngestedStructure record = record_of({{"Cl", {0, 0, 0}}, {"H", {1.275, 0, 0}}});
  const std::string svg =
      picture_svg(record, {.width_px = 200, .height_px = 100, .view = View::along_c});
  EXPECT_EQ(
      between(svg, "<svg", "<style>"),
      R"( xmlns="http://www.w3.org/2000/svg" width="200" height="100" viewBox="0 0 200 100" role="img" aria-labelledby="si-title si-desc">
<title id="si-title">ClH</title>
<desc id="si-desc">2 atoms: 1 Cl, 1 H.</desc>
)");
  EXPECT_EQ(between(svg, "</style>\n", "</svg>"), R"svg(<defs>
<radialGradient id="si-0" cx=".36" cy=".32" r=".72"><stop stop-color="#a5f9a5"/><stop offset=".45" stop-color="#1ff01f"/><stop offset="1" stop-color="#107810"/></radialGradient>
<radialGradient id="si-1" cx=".36" cy=".32" r=".72"><stop stop-color="#ffffff"/><stop offset=".45" stop-color="#ffffff"/><stop offset="1" stop-color="#808080"/></radialGradient>
</defs>
<g stroke-width="12.5">
<path d="M99.3 36L113.4 36" class="si-s" stroke="#19c519"/>
<path d="M113.4 36L127.5 36" class="si-s" stroke="#d1d1d1"/>
<circle cx="70.8" cy="36" r="31.7" fill="url(#si-0)"/>
<circle cx="143.3" cy="36" r="17.5" fill="url(#si-1)"/>
</g>
<circle cx="20" cy="86" r="6" fill="url(#si-0)"/><text x="31" y="90.5" class="si-t">Cl <tspan class="si-n">1</tspan></text>
<circle cx="85.5" cy="86" r="6" fill="url(#si-1)"/><text x="96.5" y="90.5" class="si-t">H <tspan class="si-n">1</tspan></text>
)svg");
}

TEST(Svg, DescribesItself) {
  struct Case {
    IngestedStructure record;
    const char* description;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<Case> cases = {
      {rock_salt(),
       "8 atoms: 4 Cl, 4 Na; cell a 5.64, b 5.64, c 5.64 \u00C5. Atoms on a face of the cell are "
       "drawn on the opposite face as well."},
      {record_of({{"H", {nan, 0, 0}}, {"H", {0, 0, 0}}}),
       "2 atoms: 2 H. Not drawn: 1 atom without a usable position."},
      {record_of({}), "0 atoms:."},
      {record_of({{"<b>", {0, 0, 0}}}), "1 atom: 1 &lt;b&gt;."},
  };
  for (const Case& each : cases) {
    const std::string svg = picture_svg(each.record);
    EXPECT_EQ(between(svg, "<desc id=\"si-desc\">", "</desc>"), each.description);
    EXPECT_EQ(tests::count_of(svg, "<b>"), 0U);
  }
}

TEST(Svg, DrawsTheNearerAtomLater) {
  const std::vector<std::pair<std::string, Vector3>> atoms = {
      {"O", {0, 0, 0}}, {"Fe", {0, 0, 3}}};  // the elements are numbered Fe, O
  const auto order = [](const std::string& svg) {
    return svg.find("url(#si-0)") < svg.find("url(#si-1)");
  };
  const std::string from_above =
      picture_svg(record_of(atoms, cubic(9)), {.view = View::along_c, .legend = false});
  EXPECT_FALSE(order(from_above));
  const std::vector<std::pair<std::string, Vector3>> exchanged = {{"Fe", {0, 0, 0}},
                                                                  {"O", {0, 0, 3}}};
  EXPECT_TRUE(order(picture_svg(record_of(exchanged), {.view = View::along_c, .legend = false})));
}

TEST(Svg, StaysSmallOfManyAtoms) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> place(0, 100);
  std::vector<std::pair<std::string, Vector3>> atoms;
  for (int i = 0; i < 20000; ++i) {
    atoms.push_back({i % 2 == 0 ? "Au" : "H", {place(random), place(random), place(random)}});
  }
  const std::string svg = picture_svg(record_of(atoms, cubic(100)), {.legend = false});
  EXPECT_LT(svg.size(), 300000U);
  const std::size_t circles = tests::count_of(svg, "<circle");
  EXPECT_GT(circles, 1000U);
  EXPECT_NE(svg.find(" Drawn: the " + std::to_string(circles) + " atoms in front. Without sticks"),
            std::string::npos);
}

TEST(Svg, RefusesWhatCannotBeDrawn) {
  IngestedStructure bad = record_of({{"H", {0, 0, 0}}});
  EXPECT_THROW(picture_svg(bad, {.width_px = 15}), std::invalid_argument);
  EXPECT_THROW(picture_svg(bad, {.height_px = 4097}), std::invalid_argument);
  bad.ok = false;
  EXPECT_THROW(picture_svg(bad), std::invalid_argument);
}

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
      rock_salt(6),
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
}  // namespace structure_ingest
