// The atoms and the images of them that are near enough to the cell to matter are sorted into a
// grid of bins that are at least as wide as the largest distance looked for; then only atoms of
// neighbouring bins can be close. Bins lie in memory in the order x, y, z, so that three neighbours
// along x are one run of atoms.
#include "structure_ingest/check/close_pairs.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <tuple>
#include <utility>

namespace structure_ingest::internal {
namespace {

/// An atom, or an image of it, with its position relative to the grid's corner.
struct Site {
  float x, y, z, reach;
  std::uint32_t atom;
  bool image;
};

/// More images than this, and more than four an atom, mean a cell that is nearly flat; more
/// distances than this mean that nearly all atoms lie in a few places.
constexpr std::size_t MOST_IMAGES = 100000;
constexpr std::uint64_t MOST_DISTANCES = 100'000'000;

/// Positions that span more than this leave no digits to tell distances by.
constexpr double LARGEST_EXTENT_ANG = 1e9;

/// Bins with about this many atoms on average are the fastest.
constexpr double ATOMS_A_BIN = 0.5;

Vector3 cross(const Vector3& a, const Vector3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double dot(const Vector3& a, const Vector3& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double below(double value) {
  const auto truncated = static_cast<double>(static_cast<std::int64_t>(value));
  return truncated > value ? truncated - 1 : truncated;
}

/// The atoms moved into the cell, followed by their images within `cutoff` of it. Positions of
/// images are those of the atom plus whole lattice vectors, in double precision.
struct Sites {
  std::vector<Vector3> positions;
  std::vector<std::uint32_t> images;  // the atom of each image; positions follow those of the atoms
  bool complete = true;
};

Sites sites_of(std::span<const Vector3> positions, std::span<const Vector3> cell, double cutoff) {
  Sites sites;
  sites.positions.assign(positions.begin(), positions.end());
  if (cell.empty()) return sites;
  // The rows of `inverse` give fractional coordinates; the inverse of their length is the distance
  // between the faces of the cell.
  const double volume = dot(cell[0], cross(cell[1], cell[2]));
  std::array<Vector3, 3> inverse = {cross(cell[1], cell[2]), cross(cell[2], cell[0]),
                                    cross(cell[0], cell[1])};
  Vector3 margin{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (double& component : inverse[axis]) component /= volume;
    margin[axis] = cutoff * std::sqrt(dot(inverse[axis], inverse[axis]));
    if (!std::isfinite(margin[axis]) || margin[axis] > 1000) {
      sites.complete = false;
      return sites;
    }
  }
  const std::size_t most = std::max(MOST_IMAGES, 4 * positions.size());
  constexpr double LARGEST_FRACTION = 1e15;  // beyond it a double has no digits behind the point
  for (std::size_t atom = 0; atom < positions.size(); ++atom) {
    Vector3& position = sites.positions[atom];
    Vector3 fraction{};
    bool near_face = false;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      double f = dot(inverse[axis], position);
      if (!(std::abs(f) < LARGEST_FRACTION)) f = 0;
      const double whole = below(f);
      if (whole != 0) {
        for (std::size_t k = 0; k < 3; ++k) position[k] -= whole * cell[axis][k];
      }
      fraction[axis] = f - whole;
      near_face |= fraction[axis] < margin[axis] || fraction[axis] > 1 - margin[axis];
    }
    if (!near_face) continue;
    std::array<std::array<int, 2>, 3> range{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      range[axis][0] = -static_cast<int>(below(fraction[axis] + margin[axis]));
      range[axis][1] = static_cast<int>(below(1 - fraction[axis] + margin[axis]));
    }
    for (int i = range[0][0]; i <= range[0][1]; ++i) {
      for (int j = range[1][0]; j <= range[1][1]; ++j) {
        for (int k = range[2][0]; k <= range[2][1]; ++k) {
          if (i == 0 && j == 0 && k == 0) continue;
          if (sites.images.size() >= most) {
            sites.complete = false;
            return sites;
          }
          Vector3 image = sites.positions[atom];
          for (std::size_t c = 0; c < 3; ++c) {
            image[c] += i * cell[0][c] + j * cell[1][c] + k * cell[2][c];
          }
          sites.positions.push_back(image);
          sites.images.push_back(static_cast<std::uint32_t>(atom));
        }
      }
    }
  }
  return sites;
}

struct Grid {
  std::array<std::size_t, 3> bins{};  // along each axis, with an empty one before and behind
  std::vector<std::uint32_t> begin;   // where each bin begins in `sites`; one more at the end
  std::vector<Site> sites;            // sorted by bin
  float slack = 0;                    // the rounding of positions to single precision
};

/// Nothing when the positions span too much.
std::optional<Grid> grid_of(const Sites& sites, std::span<const float> reach, double cutoff) {
  Grid grid;
  const std::size_t count = sites.positions.size();
  const std::size_t atoms = count - sites.images.size();
  Vector3 low = sites.positions.front();
  Vector3 high = low;
  for (const Vector3& position : sites.positions) {
    for (std::size_t k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], position[k]);
      high[k] = std::max(high[k], position[k]);
    }
  }
  double extent = cutoff;
  double volume = 1;
  for (std::size_t k = 0; k < 3; ++k) {
    extent = std::max(extent, high[k] - low[k]);
    volume *= std::max(high[k] - low[k], cutoff);
  }
  if (!(extent < LARGEST_EXTENT_ANG)) return std::nullopt;
  grid.slack = static_cast<float>(extent * 1e-6);
  const double average = std::cbrt(ATOMS_A_BIN * volume / static_cast<double>(count));
  double width = std::max({cutoff + 2 * static_cast<double>(grid.slack), average, extent * 1e-6});
  // Atoms in few places of a large volume need wider bins than the average says.
  const double most = 8.0 * static_cast<double>(count) + 1000;
  for (;; width *= 1.25) {
    double total = 1;
    for (std::size_t k = 0; k < 3; ++k) {
      grid.bins[k] = static_cast<std::size_t>((high[k] - low[k]) / width) + 3;
      total *= static_cast<double>(grid.bins[k]);
    }
    if (total <= most) break;
  }
  const double inverse_width = 1 / width;

  std::vector<std::uint32_t> bin(count);
  grid.begin.assign(grid.bins[0] * grid.bins[1] * grid.bins[2] + 1, 0);
  for (std::size_t i = 0; i < count; ++i) {
    const Vector3& position = sites.positions[i];
    const auto x = static_cast<std::size_t>((position[0] - low[0]) * inverse_width) + 1;
    const auto y = static_cast<std::size_t>((position[1] - low[1]) * inverse_width) + 1;
    const auto z = static_cast<std::size_t>((position[2] - low[2]) * inverse_width) + 1;
    bin[i] = static_cast<std::uint32_t>((z * grid.bins[1] + y) * grid.bins[0] + x);
    ++grid.begin[bin[i]];
  }
  std::uint32_t sum = 0;
  for (std::uint32_t& begin : grid.begin) sum = begin += sum;
  grid.sites.resize(count);
  for (std::size_t i = count; i-- > 0;) {
    const Vector3& position = sites.positions[i];
    const bool image = i >= atoms;
    const std::uint32_t atom = image ? sites.images[i - atoms] : static_cast<std::uint32_t>(i);
    grid.sites[--grid.begin[bin[i]]] = {static_cast<float>(position[0] - low[0]),
                                        static_cast<float>(position[1] - low[1]),
                                        static_cast<float>(position[2] - low[2]),
                                        reach[atom] + grid.slack,
                                        static_cast<std::uint32_t>(i),
                                        image};
  }
  return grid;
}

/// Looks through the pairs of neighbouring bins.
class Search {
 public:
  Search(const Grid& grid, const Sites& sites, std::span<const float> reach, float least)
      : grid_(grid), sites_(sites), reach_(reach), least_(least), found_{} {}

  ClosePairs run() {
    const std::size_t row = grid_.bins[0];
    const std::size_t layer = row * grid_.bins[1];
    const std::size_t last = grid_.begin.size() - 1 - layer;
    for (std::size_t bin = layer; bin < last && found_.complete; ++bin) {
      const std::uint32_t begin = grid_.begin[bin];
      const std::uint32_t end = grid_.begin[bin + 1];
      for (std::uint32_t at = begin; at < end && found_.complete; ++at) {
        // Of the two bins of a pair the later one in memory is looked at from the earlier.
        look(at, at + 1, grid_.begin[bin + 2]);
        look_at_row(at, bin + row);
        look_at_row(at, bin + layer - row);
        look_at_row(at, bin + layer);
        look_at_row(at, bin + layer + row);
      }
    }
    return std::move(found_);
  }

 private:
  void look_at_row(std::uint32_t at, std::size_t middle) {
    look(at, grid_.begin[middle - 1], grid_.begin[std::min(middle + 2, grid_.begin.size() - 1)]);
  }

  void look(std::uint32_t at, std::uint32_t begin, std::uint32_t end) {
    const Site& site = grid_.sites[at];
    distances_ += end - begin;
    for (std::uint32_t other = begin; other < end; ++other) {
      const Site& candidate = grid_.sites[other];
      const float x = candidate.x - site.x;
      const float y = candidate.y - site.y;
      const float z = candidate.z - site.z;
      const float limit = std::max(site.reach + candidate.reach, least_ + 2 * grid_.slack);
      if (x * x + y * y + z * z < limit * limit) add(site, candidate);
    }
    if (distances_ > MOST_DISTANCES) found_.complete = false;
  }

  void add(const Site& a, const Site& b) {
    if (a.image && b.image) return;
    const std::size_t atoms = sites_.positions.size() - sites_.images.size();
    const auto atom_of = [&](const Site& site) -> std::size_t {
      return site.image ? sites_.images[site.atom - atoms] : site.atom;
    };
    const std::size_t first = atom_of(a);
    const std::size_t second = atom_of(b);
    // An atom beside an image is met again from the other side: the atom with the lower index
    // reports the pair, and of an atom's own images those that follow it in one direction.
    if (a.image || b.image) {
      const std::size_t real = a.image ? second : first;
      const std::size_t other = a.image ? first : second;
      if (real > other) return;
      const Vector3& from = sites_.positions[(a.image ? b : a).atom];
      const Vector3& to = sites_.positions[(a.image ? a : b).atom];
      if (real == other && to < from) return;
    }
    const Vector3& p = sites_.positions[a.atom];
    const Vector3& q = sites_.positions[b.atom];
    const double distance = std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]);
    const double limit = std::max(reach_[first] + reach_[second], least_);
    if (!(distance < limit)) return;
    if (found_.pairs.size() == MOST_CLOSE_PAIRS) {
      found_.complete = false;
      return;
    }
    found_.pairs.push_back({std::min(first, second), std::max(first, second), distance, limit});
  }

  const Grid& grid_;
  const Sites& sites_;
  std::span<const float> reach_;
  float least_;
  ClosePairs found_;
  std::uint64_t distances_ = 0;
};

}  // namespace

ClosePairs find_close_pairs(std::span<const Vector3> positions_ang, std::span<const float> reach,
                            std::span<const Vector3> cell_ang, float least_ang) {
  if (positions_ang.empty()) return {};
  const float widest = *std::max_element(reach.begin(), reach.end());
  const double cutoff = std::max(2 * widest, least_ang);
  if (cutoff <= 0) return {};
  const Sites sites = sites_of(positions_ang, cell_ang, cutoff);
  const std::optional<Grid> grid = grid_of(sites, reach, cutoff);
  if (!grid) return {.pairs = {}, .complete = false};
  ClosePairs found = Search(*grid, sites, reach, least_ang).run();
  found.complete = found.complete && sites.complete;
  std::sort(found.pairs.begin(), found.pairs.end(), [](const ClosePair& a, const ClosePair& b) {
    return std::tie(a.distance_ang, a.first, a.second) <
           std::tie(b.distance_ang, b.first, b.second);
  });
  return found;
}

}  // namespace structure_ingest::internal
