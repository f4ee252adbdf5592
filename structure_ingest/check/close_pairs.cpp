// Sort the atoms, and those of their images that lie within the cutoff of the cell, into a grid of
// bins at least as wide as the cutoff, the largest distance that can matter; then only atoms in
// adjacent bins can be close. Bins lie in memory in the order x, y, z, so that three adjacent
// bins along x are one contiguous run of atoms. Compare squared distances in single precision, with
// limits widened by its rounding error, to select candidates; recompute each candidate's distance
// in double precision from the original positions. Counts of images, distances and pairs are
// limited, so that no file can make the search slow.
#include "structure_ingest/check/close_pairs.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <tuple>
#include <utility>

#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

/// An atom or an image, with its position relative to a nearby origin, which keeps single precision
/// accurate.
struct Site {
  float x, y, z, reach;
};

/// Limits. More images than this, and more than four an atom, mean a nearly flat cell; more
/// distances than this mean that most atoms lie in a few places.
constexpr std::size_t MOST_IMAGES = 100000;
constexpr std::uint64_t MOST_DISTANCES = 100'000'000;

/// Coordinates beyond these limits have too few digits left to resolve distances.
constexpr double LARGEST_EXTENT_ANG = 1e9;
constexpr double LARGEST_FRACTION = 1e9;

/// Fastest number of atoms in a bin, on average.
constexpr double ATOMS_A_BIN = 0.2;

/// The error of a distance from rounding to single precision, as a share of the extent.
constexpr double ROUNDING = 1e-6;

/// The largest whole number not above `value`, which must be less than LARGEST_FRACTION.
double floor_of(double value) {
  const auto truncated = static_cast<double>(static_cast<std::int64_t>(value));
  return truncated > value ? truncated - 1 : truncated;
}

/// A periodic cell and quantities derived from it.
struct Cell {
  std::array<Vector3, 3> vectors;
  std::array<Vector3, 3> inverse;  // its rows give fractional coordinates
  Vector3 margin;                  // the cutoff in fractional coordinates
};

std::optional<Cell> cell_of(std::span<const Vector3> rows, double cutoff) {
  Cell cell{{rows[0], rows[1], rows[2]},
            {cross(rows[1], rows[2]), cross(rows[2], rows[0]), cross(rows[0], rows[1])},
            {}};
  const double volume = dot(rows[0], cell.inverse[0]);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (double& component : cell.inverse[axis]) component /= volume;
    // The inverse of this length is the distance between two opposite faces of the cell.
    cell.margin[axis] = cutoff * std::sqrt(dot(cell.inverse[axis], cell.inverse[axis]));
    constexpr double MOST_CELLS = 1000;
    if (!(cell.margin[axis] < MOST_CELLS)) return std::nullopt;
  }
  return cell;
}

/// Rounds to single precision. Clamps first: grid_of() refuses any value beyond the limit.
Site site_at(const Vector3& place, const Vector3& origin, float reach) {
  const auto single = [](double value) {
    return static_cast<float>(std::clamp(value, -2 * LARGEST_EXTENT_ANG, 2 * LARGEST_EXTENT_ANG));
  };
  return {single(place[0] - origin[0]), single(place[1] - origin[1]), single(place[2] - origin[2]),
          reach};
}

/// The atoms, followed by the images.
struct Sites {
  std::vector<Site> sites;
  std::vector<std::uint32_t> atom_of_image;
  std::size_t natoms = 0;
  bool complete = true;
};

/// Adds the images of an atom that lie within the cutoff of the cell; `place` and `fraction` are
/// the atom's position moved into the cell.
void add_images(const Cell& cell, const Vector3& place, const Vector3& fraction, std::uint32_t atom,
                float reach, Sites& sites) {
  std::array<int, 3> first{};
  std::array<int, 3> last{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    first[axis] = -static_cast<int>(floor_of(fraction[axis] + cell.margin[axis]));
    last[axis] = static_cast<int>(floor_of(1 - fraction[axis] + cell.margin[axis]));
  }
  const std::size_t most = std::max(MOST_IMAGES, 4 * sites.natoms);
  for (int i = first[0]; i <= last[0]; ++i) {
    for (int j = first[1]; j <= last[1]; ++j) {
      for (int k = first[2]; k <= last[2]; ++k) {
        if (i == 0 && j == 0 && k == 0) continue;
        if (sites.atom_of_image.size() >= most) {
          sites.complete = false;
          return;
        }
        Vector3 image = place;
        for (std::size_t c = 0; c < 3; ++c) {
          image[c] += i * cell.vectors[0][c] + j * cell.vectors[1][c] + k * cell.vectors[2][c];
        }
        sites.sites.push_back(site_at(image, {}, reach));
        sites.atom_of_image.push_back(atom);
      }
    }
  }
}

Sites sites_of(std::span<const Vector3> positions, std::span<const float> reach, float least,
               const Cell* cell) {
  Sites sites;
  sites.natoms = positions.size();
  sites.sites.resize(positions.size());
  const Vector3 origin = cell == nullptr ? positions.front() : Vector3{};
  for (std::size_t atom = 0; atom < positions.size(); ++atom) {
    Vector3 place = positions[atom];
    const float own_reach = std::max(reach[atom], least / 2);
    if (cell != nullptr) {
      Vector3 fraction{};
      bool inside = true;
      for (std::size_t axis = 0; axis < 3; ++axis) {
        double f = dot(cell->inverse[axis], positions[atom]);
        if (!(std::abs(f) < LARGEST_FRACTION)) {
          f = 0;
          sites.complete = false;
        }
        const double whole = floor_of(f);
        if (whole != 0) place = plus(place, cell->vectors[axis], -whole);
        fraction[axis] = f - whole;
        inside = inside && std::abs(fraction[axis] - 0.5) < 0.5 - cell->margin[axis];
      }
      if (!inside && sites.complete) {
        add_images(*cell, place, fraction, static_cast<std::uint32_t>(atom), own_reach, sites);
      }
    }
    sites.sites[atom] = site_at(place, origin, own_reach);
  }
  return sites;
}

struct Grid {
  std::array<std::size_t, 3> bins{};  // along each axis, with an empty bin at both ends
  std::vector<std::uint32_t> begin;   // where each bin begins in `sites`; one more at the end
  std::vector<Site> sites;            // sorted by bin, reach widened by the rounding error
  std::vector<std::uint32_t> origin;  // the index of each site before sorting
};

/// Sorts the sites into bins; nothing when the positions span too much.
std::optional<Grid> grid_of(const std::vector<Site>& sites, double cutoff) {
  Site low = sites.front();
  Site high = low;
  for (const Site& site : sites) {
    low.x = std::min(low.x, site.x);
    low.y = std::min(low.y, site.y);
    low.z = std::min(low.z, site.z);
    high.x = std::max(high.x, site.x);
    high.y = std::max(high.y, site.y);
    high.z = std::max(high.z, site.z);
  }
  const std::array<double, 3> extent = {static_cast<double>(high.x) - static_cast<double>(low.x),
                                        static_cast<double>(high.y) - static_cast<double>(low.y),
                                        static_cast<double>(high.z) - static_cast<double>(low.z)};
  const double longest = std::max(
      {cutoff, extent[0], extent[1], extent[2],
       static_cast<double>(std::max({std::abs(low.x), std::abs(low.y), std::abs(low.z)}))});
  if (!(longest < LARGEST_EXTENT_ANG)) return std::nullopt;
  const double slack = longest * ROUNDING;
  double volume = 1;
  for (const double length : extent) volume *= std::max(length, cutoff);
  const auto count = static_cast<double>(sites.size());
  double width = std::max({cutoff + 4 * slack, std::cbrt(ATOMS_A_BIN * volume / count)});
  // When the atoms lie in a few places of a large volume, widen the bins until there are not many
  // more bins than atoms.
  const auto bin_count = [&] {
    double total = 1;
    for (const double length : extent) total *= std::floor(length / width) + 3;
    return total;
  };
  while (bin_count() > 8 * count + 1000) width *= 1.25;
  Grid grid;
  for (std::size_t k = 0; k < 3; ++k) {
    grid.bins[k] = static_cast<std::size_t>(extent[k] / width) + 3;
  }
  const auto scale = static_cast<float>(1 / width);
  const auto widening = static_cast<float>(slack);

  std::vector<std::uint32_t> bin(sites.size());
  grid.begin.assign(grid.bins[0] * grid.bins[1] * grid.bins[2] + 1, 0);
  const auto row = static_cast<std::uint32_t>(grid.bins[0]);
  const auto rows = static_cast<std::uint32_t>(grid.bins[1]);
  const auto place = [scale](float value, float least, std::size_t bins) {
    const auto whole = static_cast<std::uint32_t>((value - least) * scale) + 1;
    return std::min(whole, static_cast<std::uint32_t>(bins - 2));
  };
  for (std::size_t i = 0; i < sites.size(); ++i) {
    const Site& site = sites[i];
    bin[i] =
        (place(site.z, low.z, grid.bins[2]) * rows + place(site.y, low.y, grid.bins[1])) * row +
        place(site.x, low.x, grid.bins[0]);
    ++grid.begin[bin[i]];
  }
  std::uint32_t sum = 0;
  for (std::uint32_t& begin : grid.begin) sum = begin += sum;
  grid.sites.resize(sites.size());
  grid.origin.resize(sites.size());
  for (std::size_t i = sites.size(); i-- > 0;) {
    const std::uint32_t at = --grid.begin[bin[i]];
    grid.sites[at] = sites[i];
    grid.sites[at].reach += widening;
    grid.origin[at] = static_cast<std::uint32_t>(i);
  }
  return grid;
}

/// Decides about candidates, in double precision.
struct PairCollector {
  std::span<const Vector3> positions;
  std::span<const float> reach;
  float least;
  const Cell* cell;
  const Sites& sites;
  const Grid& grid;
  ClosePairs found{};

  /// Decides about the sites at two indices of the grid. Called for few pairs; not inlined, so that
  /// the loop over all pairs keeps its registers.
  [[gnu::noinline]] void add_if_close(std::uint32_t a, std::uint32_t b) {
    const std::uint32_t from = grid.origin[a];
    const std::uint32_t to = grid.origin[b];
    const bool from_image = from >= sites.natoms;
    const bool to_image = to >= sites.natoms;
    if (from_image && to_image) return;
    const std::size_t first = from_image ? sites.atom_of_image[from - sites.natoms] : from;
    const std::size_t second = to_image ? sites.atom_of_image[to - sites.natoms] : to;
    const Site& p = grid.sites[a];
    const Site& q = grid.sites[b];
    // A pair of an atom and an image occurs twice, once from either side. Report it from the atom
    // with the lower index; for an atom and its own image, from one of the two directions.
    if (from_image && second > first) return;
    if (to_image && first > second) return;
    const Vector3 rounded = {static_cast<double>(q.x - p.x), static_cast<double>(q.y - p.y),
                             static_cast<double>(q.z - p.z)};
    Vector3 apart = plus(positions[second], positions[first], -1);
    // How many lattice vectors lie between the sites, of which the rounded difference tells enough.
    const Vector3 off = plus(rounded, apart, -1);
    Vector3 cells{};
    for (std::size_t axis = 0; cell != nullptr && axis < 3; ++axis) {
      cells[axis] = std::round(dot(cell->inverse[axis], off));
      apart = plus(apart, cell->vectors[axis], cells[axis]);
    }
    if (first == second && ((cells > Vector3{}) == from_image)) return;
    const double distance = std::sqrt(dot(apart, apart));
    const double limit = static_cast<double>(std::max(reach[first] + reach[second], least));
    if (!(distance < limit)) return;
    if (found.pairs.size() == MOST_CLOSE_PAIRS) {
      found.complete = false;
      return;
    }
    const int sign = first <= second ? 1 : -1;
    found.pairs.push_back(
        {.first = std::min(first, second),
         .second = std::max(first, second),
         .distance_ang = distance,
         .limit_ang = limit,
         .cells = {sign * static_cast<int>(cells[0]), sign * static_cast<int>(cells[1]),
                   sign * static_cast<int>(cells[2])}});
  }
};

/// The first of the sites from `from` to `to` that is close to `site`; `to` when none is.
std::uint32_t next_close(const Site* sites, std::uint32_t from, std::uint32_t to,
                         const Site& site) {
  for (; from < to; ++from) {
    const Site& candidate = sites[from];
    const float x = candidate.x - site.x;
    const float y = candidate.y - site.y;
    const float z = candidate.z - site.z;
    const float limit = site.reach + candidate.reach;
    if (x * x + y * y + z * z < limit * limit) break;
  }
  return from;
}

void search(PairCollector& collector) {
  const Grid& grid = collector.grid;
  const Site* const sites = grid.sites.data();
  const std::uint32_t* const begin = grid.begin.data();
  const std::size_t row = grid.bins[0];
  const std::size_t layer = row * grid.bins[1];
  const std::size_t end = grid.begin.size() - 1 - layer;
  std::uint64_t distances = 0;
  for (std::size_t bin = layer; bin < end; ++bin) {
    const std::uint32_t last = begin[bin + 1];
    if (begin[bin] == last) continue;
    // Visit each pair of adjacent bins once, from the bin that comes first in memory.
    const std::array<std::size_t, 4> rows = {bin + row, bin + layer - row, bin + layer,
                                             bin + layer + row};
    std::array<std::uint32_t, 5> from{};
    std::array<std::uint32_t, 5> to{};
    to[0] = begin[bin + 2];
    for (std::size_t i = 0; i < rows.size(); ++i) {
      from[i + 1] = begin[rows[i] - 1];
      to[i + 1] = begin[rows[i] + 2];
    }
    for (std::uint32_t at = begin[bin]; at < last; ++at) {
      const Site site = sites[at];
      from[0] = at + 1;
      for (std::size_t run = 0; run < from.size(); ++run) {
        distances += to[run] - from[run];
        for (std::uint32_t other = from[run];
             (other = next_close(sites, other, to[run], site)) < to[run]; ++other) {
          collector.add_if_close(at, other);
        }
      }
      if (distances > MOST_DISTANCES) collector.found.complete = false;
      if (!collector.found.complete) return;
    }
  }
}

}  // namespace

ClosePairs find_close_pairs(std::span<const Vector3> positions_ang, std::span<const float> reach,
                            std::span<const Vector3> cell_ang, float least_ang) {
  if (positions_ang.empty()) return {};
  const float widest = *std::max_element(reach.begin(), reach.end());
  const auto cutoff = static_cast<double>(std::max(2 * widest, least_ang));
  if (cutoff <= 0) return {};
  std::optional<Cell> cell;
  if (!cell_ang.empty()) {
    cell = cell_of(cell_ang, cutoff);
    if (!cell) return {.pairs = {}, .complete = false};
  }
  const Cell* const periodic = cell ? &*cell : nullptr;
  const Sites sites = sites_of(positions_ang, reach, least_ang, periodic);
  const std::optional<Grid> grid = grid_of(sites.sites, cutoff);
  if (!grid) return {.pairs = {}, .complete = false};
  PairCollector collector{positions_ang, reach, least_ang, periodic, sites, *grid};
  search(collector);
  collector.found.complete = collector.found.complete && sites.complete;
  std::sort(collector.found.pairs.begin(), collector.found.pairs.end(),
            [](const ClosePair& a, const ClosePair& b) {
              return std::tie(a.distance_ang, a.first, a.second) <
                     std::tie(b.distance_ang, b.first, b.second);
            });
  return std::move(collector.found);
}

}  // namespace structure_ingest::internal
