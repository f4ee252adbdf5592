#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <stdexcept>

#include "structure_ingest/picture/picture.hpp"
#include "tests/picture/records.hpp"

namespace {

using structure_ingest::IngestedStructure;
using structure_ingest::picture_svg;
using structure_ingest::View;
using tests::cubic;
using tests::record_of;

/// What stands between `begin` and the next `end`.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t from = text.find(begin);
  if (from == std::string::npos) return "(no " + begin + ")";
  return text.substr(from + begin.size(), text.find(end, from) - from - begin.size());
}

std::size_t count_of(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t i = text.find(part); i != std::string::npos; i = text.find(part, i + 1)) ++count;
  return count;
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
      {tests::rock_salt(),
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
    EXPECT_EQ(count_of(svg, "<b>"), 0U);
  }
}

TEST(Svg, DrawsTheNearerAtomLater) {
  const std::vector<std::pair<std::string, structure_ingest::Vector3>> atoms = {
      {"O", {0, 0, 0}}, {"Fe", {0, 0, 3}}};  // the elements are numbered Fe, O
  const auto order = [](const std::string& svg) {
    return svg.find("url(#si-0)") < svg.find("url(#si-1)");
  };
  const std::string from_above =
      picture_svg(record_of(atoms, cubic(9)), {.view = View::along_c, .legend = false});
  EXPECT_FALSE(order(from_above));
  const std::vector<std::pair<std::string, structure_ingest::Vector3>> exchanged = {
      {"Fe", {0, 0, 0}}, {"O", {0, 0, 3}}};
  EXPECT_TRUE(order(picture_svg(record_of(exchanged), {.view = View::along_c, .legend = false})));
}

TEST(Svg, StaysSmallOfManyAtoms) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> place(0, 100);
  std::vector<std::pair<std::string, structure_ingest::Vector3>> atoms;
  for (int i = 0; i < 20000; ++i) {
    atoms.push_back({i % 2 == 0 ? "Au" : "H", {place(random), place(random), place(random)}});
  }
  const std::string svg = picture_svg(record_of(atoms, cubic(100)), {.legend = false});
  EXPECT_LT(svg.size(), 300000U);
  const std::size_t circles = count_of(svg, "<circle");
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

}  // namespace
