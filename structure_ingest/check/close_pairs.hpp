// Pairs of atoms that are too close to each other, periodic images included.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

struct ClosePair {
  std::size_t first = 0;  // the lower index; both are the same for an atom and its own image
  std::size_t second = 0;
  double distance_ang = 0;
  double limit_ang = 0;        // the limit for this pair, which the distance is below
  std::array<int, 3> cells{};  // how many lattice vectors the image of the second is away from it

  bool operator==(const ClosePair&) const = default;
};

struct ClosePairs {
  std::vector<ClosePair> pairs;  // by distance, then by index
  /// False when the search stopped because of the number of pairs, images or distances; there may
  /// then be more pairs.
  bool complete = true;
};

/// The search stops at this many pairs.
inline constexpr std::size_t MOST_CLOSE_PAIRS = 10000;

/// The pairs of atoms i, j whose distance is below max(reach[i] + reach[j], least_ang). `cell_ang`
/// holds the three rows of a periodic cell with a volume, or is empty. A pair that is close in
/// several images is listed once for each. All positions must be finite; there is one non-negative
/// reach an atom. The cost is linear in the number of atoms of an ordinary structure, and bounded
/// for any other.
ClosePairs find_close_pairs(std::span<const Vector3> positions_ang, std::span<const float> reach,
                            std::span<const Vector3> cell_ang, float least_ang);

}  // namespace structure_ingest::internal
