#include "structure_ingest/check/close_pairs.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>

namespace structure_ingest::internal {
namespace {

using Rows = std::vector<Vector3>;

/// All pairs, each with every image within `images` cells: the slow reference.
std::vector<ClosePair> all_pairs(const Rows& positions, const std::vector<float>& reach,
                                 const Rows& cell, float least, int images) {
  std::vector<ClosePair> pairs;
  const int most = cell.empty() ? 0 : images;
  for (std::size_t i = 0; i < positions.size(); ++i) {
    for (std::size_t j = i; j < positions.size(); ++j) {
      for (int a = -most; a <= most; ++a) {
        for (int b = -most; b <= most; ++b) {
          for (int c = -most; c <= most; ++c) {
            if (i == j && std::tuple(a, b, c) <= std::tuple(0, 0, 0)) continue;
            Vector3 apart{};
            for (std::size_t k = 0; k < 3; ++k) {
              apart[k] = positions[j][k] - positions[i][k];
              if (most > 0) apart[k] += a * cell[0][k] + b * cell[1][k] + c * cell[2][k];
            }
            const double distance = std::hypot(apart[0], apart[1], apart[2]);
            const double limit = std::max(reach[i] + reach[j], least);
            if (distance < limit) pairs.push_back({i, j, distance, limit});
          }
        }
      }
    }
  }
  std::sort(pairs.begin(), pairs.end(), [](const ClosePair& a, const ClosePair& b) {
    return std::tie(a.distance_ang, a.first, a.second) <
           std::tie(b.distance_ang, b.first, b.second);
  });
  return pairs;
}

/// `inside` holds the positions within the cell, `positions` arbitrary images of them.
void expect_same(const Rows& inside, const Rows& positions, const std::vector<float>& reach,
                 const Rows& cell, float least, int images, const std::string& what) {
  const std::vector<ClosePair> expected = all_pairs(inside, reach, cell, least, images);
  const ClosePairs found = find_close_pairs(positions, reach, cell, least);
  EXPECT_TRUE(found.complete) << what;
  ASSERT_EQ(found.pairs.size(), expected.size()) << what;
  // Pairs whose distances differ only in the last digit may come in another order.
  std::vector<std::pair<std::size_t, std::size_t>> wanted;
  std::vector<std::pair<std::size_t, std::size_t>> got;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(found.pairs[i].distance_ang, expected[i].distance_ang, 1e-9) << what;
    wanted.emplace_back(expected[i].first, expected[i].second);
    got.emplace_back(found.pairs[i].first, found.pairs[i].second);
  }
  std::sort(wanted.begin(), wanted.end());
  std::sort(got.begin(), got.end());
  EXPECT_EQ(got, wanted) << what;
}

TEST(ClosePairs, AgreeWithTheSlowSearch) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> unit(0, 1);
  std::uniform_int_distribution<int> cells_away(-9, 9);
  struct Case {
    const char* what;
    Rows cell;
    int images;  // number of cells that the longest limit, 2.6 Å, can span
  };
  const Case cases[] = {
      {"no cell", {}, 0},
      {"cube", {{9, 0, 0}, {0, 9, 0}, {0, 0, 9}}, 1},
      {"left-handed", {{0, 9, 0}, {9, 0, 0}, {0, 0, 9}}, 1},
      {"skewed", {{8, 0, 0}, {7, 5, 0}, {-6, 4, 6}}, 3},
      {"face-centred", {{0, 3, 3}, {3, 0, 3}, {3, 3, 0}}, 2},
      {"tiny", {{1.1, 0, 0}, {0.2, 1.3, 0}, {0, 0.1, 1.2}}, 4},
      {"flat", {{14, 0, 0}, {0, 14, 0}, {1, 1, 1}}, 4},
      {"needle", {{60, 0, 0}, {0, 2, 0}, {0, 0, 2}}, 3},
  };
  for (const auto& [what, cell, images] : cases) {
    for (int repeat = 0; repeat < 20; ++repeat) {
      const auto count = static_cast<std::size_t>(repeat < 4 ? repeat + 1 : images > 3 ? 12 : 40);
      Rows inside;
      Rows positions;
      std::vector<float> reach;
      for (std::size_t i = 0; i < count; ++i) {
        Vector3 place = {12 * unit(random), 12 * unit(random), 12 * unit(random)};
        Vector3 image = place;
        if (!cell.empty()) {
          place = image = {};
          for (std::size_t axis = 0; axis < 3; ++axis) {
            // Place some atoms on faces and corners.
            const double fraction = i % 5 == 0 && axis < i % 4 ? 0 : unit(random);
            const double far = fraction + cells_away(random);
            for (std::size_t k = 0; k < 3; ++k) {
              place[k] += fraction * cell[axis][k];
              image[k] += far * cell[axis][k];
            }
          }
        }
        inside.push_back(place);
        positions.push_back(image);
        reach.push_back(static_cast<float>(0.2 + 1.1 * unit(random)));
      }
      const float least = repeat % 2 == 0 ? 0.5F : 2.0F;
      expect_same(inside, positions, reach, cell, least, images, what);
    }
  }
}

TEST(ClosePairs, AreFoundFarFromTheOrigin) {
  const Rows positions = {{1e5, 1e5, 1e5}, {1e5 + 0.4, 1e5, 1e5}, {0, 0, 0}, {-1e5, 3, 3}};
  expect_same(positions, positions, {0.2F, 0.2F, 0.2F, 0.2F}, {}, 0.5F, 0, "far apart");
}

TEST(ClosePairs, AreIncompleteForSenselessStructures) {
  const double huge = 1e300;
  const std::tuple<const char*, Rows, Rows, std::size_t> cases[] = {
      {"20000 atoms in one place", Rows(20000, {1, 2, 3}), {}, MOST_CLOSE_PAIRS},
      {"the same in a cell",
       Rows(20000, {1, 2, 3}),
       {{5, 0, 0}, {0, 5, 0}, {0, 0, 5}},
       MOST_CLOSE_PAIRS},
      {"a cell thinner than any atom", {{0, 0, 0}}, {{1e-6, 0, 0}, {0, 9, 0}, {0, 0, 9}}, 0},
      {"a cell of many images", Rows(3, {0, 0, 0}), {{0.01, 0, 0}, {0, 0.01, 0}, {0, 0, 0.01}}, 0},
      {"positions beyond any length", {{huge, 0, 0}, {-huge, huge, 0}, {0, 0, 0}}, {}, 0},
      {"fractions beyond any number",
       {{1e200, 0, 0}, {0, 0, 0}},
       {{5, 0, 0}, {0, 5, 0}, {0, 0, 5}},
       0},
  };
  for (const auto& [what, positions, cell, least_pairs] : cases) {
    const std::vector<float> reach(positions.size(), 0.5F);
    const ClosePairs found = find_close_pairs(positions, reach, cell, 0.5F);
    EXPECT_FALSE(found.complete) << what;
    EXPECT_GE(found.pairs.size(), least_pairs) << what;
    EXPECT_LE(found.pairs.size(), MOST_CLOSE_PAIRS) << what;
  }
  EXPECT_TRUE(find_close_pairs({}, {}, {}, 0.5F).complete);
}

// Two distant clusters of atoms leave few bins for each.
TEST(ClosePairs, AreFoundFastInDistantClusters) {
  std::mt19937 random(2);
  std::uniform_real_distribution<double> unit(0, 20);
  Rows positions;
  for (int i = 0; i < 20000; ++i) {
    const double far = i % 2 == 0 ? 0 : 1e6;
    positions.push_back({unit(random) + far, unit(random), unit(random)});
  }
  const std::vector<float> reach(positions.size(), 0.1F);
  const ClosePairs found = find_close_pairs(positions, reach, {}, 0.2F);
  EXPECT_LE(found.pairs.size(), MOST_CLOSE_PAIRS);
}

}  // namespace
}  // namespace structure_ingest::internal
