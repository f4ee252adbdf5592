#include "structure_ingest/picture/scene.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "structure_ingest/base/words.hpp"
#include "structure_ingest/picture/view_axes.hpp"
#include "structure_ingest/record/vectors.hpp"
#include "tests/picture/records.hpp"

namespace structure_ingest::internal {
namespace {

using tests::cubic;
using tests::record_of;
using tests::rock_salt;

constexpr double NAN_ = std::numeric_limits<double>::quiet_NaN();

TEST(Scene, HoldsAtomsImagesSticksAndEdges) {
  struct Case {
    const char* what;
    IngestedStructure record;
    std::size_t atoms, sticks, edges, left_out;
    bool has_images;
  };
  const std::vector<Case> cases = {
      {"a molecule", record_of({{"O", {0, 0, 0}}, {"H", {.96, 0, 0}}, {"H", {-.24, .93, 0}}}), 3, 2,
       0, 0, false},
      {"too far for a stick", record_of({{"H", {0, 0, 0}}, {"H", {1.03, 0, 0}}}), 2, 0, 0, 0,
       false},
      {"near enough", record_of({{"H", {0, 0, 0}}, {"H", {1.01, 0, 0}}}), 2, 1, 0, 0, false},
      {"corners, edges and faces", rock_salt(), 27, 54, 12, 0, true},
      {"the opposite corner", record_of({{"Cs", {4, 4, 4}}}, cubic(4)), 8, 12, 12, 0, true},
      {"no sticks between cations",
       record_of({{"Sr", {0, 0, 0}},
                  {"Ti", {1.95, 1.95, 1.95}},
                  {"O", {1.95, 1.95, 0}},
                  {"O", {1.95, 0, 1.95}},
                  {"O", {0, 1.95, 1.95}}},
                 cubic(3.9)),
       15, 30, 12, 0, true},
      {"sticks in a metal that carries one atom",
       record_of({{"Cu", {0, 0, 0}}, {"Cu", {2.5, 0, 0}}, {"O", {0, 1.8, 0}}}), 3, 2, 0, 0, false},
      {"an atom outside the cell stays alone", record_of({{"Cs", {0, 0, -1}}}, cubic(4)), 1, 0, 12,
       0, false},
      {"near a face", record_of({{"Ar", {0.04, 2, 2}}}, cubic(4)), 2, 0, 12, 0, true},
      {"not near enough", record_of({{"Ar", {0.06, 2, 2}}}, cubic(4)), 1, 0, 12, 0, false},
      {"a flat cell is none",
       record_of({{"Ar", {0, 0, 0}}}, tests::Cell({{1, 0, 0}, {2, 0, 0}, {0, 0, 1}})), 1, 0, 0, 0,
       false},
      {"a cell of one vector", record_of({{"Ar", {0, 0, 0}}}, tests::Cell({{1, 0, 0}})), 1, 0, 0, 0,
       false},
      {"unusable positions",
       record_of({{"H", {0, NAN_, 0}}, {"H", {1e300, 0, 0}}, {"H", {0, 0, 0}}}), 1, 0, 0, 2, false},
      {"no usable one", record_of({{"H", {NAN_, NAN_, NAN_}}}, cubic(NAN_)), 0, 0, 0, 1, false},
      {"nothing", record_of({}), 0, 0, 0, 0, false},
  };
  for (const Case& each : cases) {
    const Scene scene = scene_of(each.record, {});
    EXPECT_EQ(scene.atoms.size(), each.atoms) << each.what;
    EXPECT_EQ(scene.sticks.size(), each.sticks) << each.what;
    EXPECT_EQ(scene.edges.size(), each.edges) << each.what;
    EXPECT_EQ(scene.left_out, each.left_out) << each.what;
    EXPECT_EQ(scene.has_images, each.has_images) << each.what;
    EXPECT_FALSE(scene.without_sticks) << each.what;
    // A scene fits into its picture, whatever is in it.
    const auto projection = fit(scene, 200, 100, 1);
    for (const auto& atom : scene.atoms) {
      const Vector3 at = projection(atom.at);
      const double radius = scene.elements[atom.element].radius_ang * projection.scale;
      EXPECT_TRUE(at[0] - radius > 0 && at[0] + radius < 200) << each.what << " " << at[0];
      EXPECT_TRUE(at[1] - radius > 0 && at[1] + radius < 100) << each.what << " " << at[1];
    }
  }
}

TEST(Scene, LeavesOutSticksOfMany) {
  const Scene scene = scene_of(rock_salt(6), {});  // 1728 atoms
  EXPECT_TRUE(scene.without_sticks);
  EXPECT_EQ(scene.atoms.size(), 1728U);
  EXPECT_TRUE(scene.sticks.empty());
  EXPECT_FALSE(scene.has_images);
}

TEST(Scene, MarksAnAtomButNotItsImages) {
  const Scene scene = scene_of(rock_salt(), {.marked = {0, 3, 99}});
  std::vector<std::size_t> marked;
  for (const auto& atom : scene.atoms) {
    if (atom.marked) marked.push_back(atom.atom);
  }
  std::sort(marked.begin(), marked.end());
  EXPECT_EQ(marked, (std::vector<std::size_t>{0, 3}));
}

TEST(ViewAxes, AreARightHandedFrame) {
  const std::vector<IngestedStructure> records = {
      rock_salt(),
      record_of({{"H", {0, 0, 0}}}),
      record_of({{"H", {0, 0, 0}}, {"H", {0, 0, 5}}}),
      record_of({{"C", {0, 0, 0}}, {"C", {3, 1, 2}}, {"C", {-1, 4, 1}}, {"C", {1, 1, -2}}}),
      record_of({{"H", {0, 0, 0}}}, tests::Cell({{3, .1, .2}, {-1.4, 2.6, .3}, {.5, -.7, 9}})),
      record_of({{"H", {0, 0, 0}}}, tests::Cell({{0, 0, 2}, {0, 3, 0}, {4, 0, 0}})),  // left-handed
  };
  for (const IngestedStructure& record : records) {
    for (const View view : {View::angled, View::along_a, View::along_b, View::along_c}) {
      const ViewAxes axes = view_axes(record, view);
      for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
          EXPECT_NEAR(dot(axes[i], axes[k]), i == k ? 1 : 0, 1e-9);
        }
      }
      EXPECT_NEAR(dot(cross(axes[0], axes[1]), axes[2]), 1, 1e-9);
    }
  }
}

TEST(ViewAxes, LookAlongALatticeVector) {
  const IngestedStructure record =
      record_of({{"H", {0, 0, 0}}}, tests::Cell({{2, 0, 0}, {1, 3, 0}, {0, 0, 4}}));
  const auto seen = [&](View view, const Vector3& vector) {
    return seen_from(view_axes(record, view), vector);
  };
  // The vector along which one looks points at the viewer; c (or b) goes up.
  EXPECT_NEAR(seen(View::along_a, {2, 0, 0})[2], 2, 1e-12);
  EXPECT_NEAR(seen(View::along_a, {0, 0, 4})[1], 4, 1e-12);
  EXPECT_NEAR(seen(View::along_b, {1, 3, 0})[2], std::sqrt(10), 1e-12);
  EXPECT_NEAR(seen(View::along_b, {0, 0, 4})[1], 4, 1e-12);
  EXPECT_NEAR(seen(View::along_c, {0, 0, 4})[2], 4, 1e-12);
  EXPECT_NEAR(seen(View::along_c, {1, 3, 0})[1], std::sqrt(10), 1e-12);
  EXPECT_GT(seen(View::along_c, {2, 0, 0})[0], 0);
  // At an angle c goes up, a to the right, and b away from the viewer, who stands to the right of
  // the front and above it.
  EXPECT_GT(seen(View::angled, {0, 0, 4})[1], 3.8);
  EXPECT_GT(seen(View::angled, {2, 0, 0})[0], 1.8);
  EXPECT_GT(seen(View::angled, {2, 0, 0})[2], 0);
  EXPECT_LT(seen(View::angled, {0, 3, 0})[2], -2.6);
  EXPECT_GT(seen(View::angled, {0, 3, 0})[0], 0);
  EXPECT_GT(seen(View::angled, {0, 0, 4})[2], 0);
}

TEST(ViewAxes, ShowAMoleculeFromItsBroadSide) {
  // Extends most along y, then along z: seen from the side, both stay nearly whole.
  const IngestedStructure record = record_of({{"C", {0, -5, 0}},
                                              {"C", {0, 5, 0}},
                                              {"C", {0, 0, 2}},
                                              {"C", {0, 0, -2}},
                                              {"C", {.1, 0, 0}}});
  const ViewAxes axes = view_axes(record, View::angled);
  EXPECT_GT(std::abs(axes[0][1]), 0.9);
  EXPECT_GT(std::abs(axes[1][2]), 0.9);
}

TEST(Markup, IsMadeOfNoText) {
  struct Case {
    const char* text;
    const char* markup;
  };
  const Case cases[] = {
      {"Fe2O3", "Fe2O3"},
      {"</script><img src=x onerror='f()'>",
       "&lt;/script&gt;&lt;img src=x onerror=&#39;f()&#39;&gt;"},
      {"a & b \"c\"", "a &amp; b &quot;c&quot;"},
      {"a\nb\x01", "a\\x0ab\\x01"},
      {"gpj.\u202exyz", "gpj.\\u202exyz"},
      {"\xff.xyz", "\\xff.xyz"},
      {"\u00e9\u6c34", "\u00e9\u6c34"},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(markup_text(each.text), each.markup);
  }
}

}  // namespace
}  // namespace structure_ingest::internal
