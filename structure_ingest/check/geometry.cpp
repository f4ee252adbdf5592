// Findings from positions and cell alone.
#include <algorithm>
#include <cmath>
#include <limits>

#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/input.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/cell_geometry.hpp"
#include "structure_ingest/record/elements.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

/// Osmium, the densest element, has 22.6 g/cm³ (CRC Handbook of Chemistry and Physics).
constexpr double DENSEST_G_CM3 = 23.0;
/// Diamond has the highest atom density of all solids at ambient pressure, 0.176 atoms/Å³.
constexpr double MOST_ATOMS_A_VOLUME = 0.25;
/// Caesium, the element with the largest volume an atom as a solid, takes 115 Å³ an atom at 298 K
/// (CRC Handbook); a cell with more than this has empty space.
constexpr double MOST_VOLUME_AN_ATOM_ANG3 = 120;
/// Atoms count as bonded below this multiple of the sum of their covalent radii. Generous: it only
/// has to distinguish a structure from separate atoms.
constexpr float BONDED_SHARE = 1.5F;
/// A distance below this share of the sum of covalent radii cannot be a bond within a cube of 1 Å:
/// the bond of N2, 1.098 Å, is 0.77 of the sum.
constexpr double SHORTEST_BOND_SHARE = 0.7;
/// More atoms than this in a cube of 1 Å necessarily overlap.
constexpr std::size_t FEW_ATOMS = 64;

std::string atom_text(const IngestedStructure& record, std::size_t atom) {
  return "atom " + std::to_string(atom) + " (" + record.symbols[atom] + ")";
}

/// A negative scale factor inverts the cell; that has a finding of its own.
bool is_turned_by_scale(const CheckInput& input) {
  return input.poscar && !input.poscar->scales.empty() && input.poscar->scales[0] < 0;
}

/// The atoms in pairs, each once, in the order of the pairs.
std::vector<std::size_t> atoms_of(const std::vector<ClosePair>& pairs) {
  std::vector<std::size_t> atoms;
  for (const ClosePair& pair : pairs) {
    for (const std::size_t atom : {pair.first, pair.second}) {
      if (atoms.size() == MOST_ATOMS_NAMED) return atoms;
      if (std::find(atoms.begin(), atoms.end(), atom) == atoms.end()) atoms.push_back(atom);
    }
  }
  return atoms;
}

std::string pair_text(const IngestedStructure& record, const ClosePair& pair) {
  return atom_text(record, pair.first) + " and " +
         (pair.first == pair.second ? "its own image" : atom_text(record, pair.second)) + ", " +
         number_text(pair.distance_ang) + " \u00C5";
}

/// Whether the positions lie in a cube of 1 Å and span it as fractional coordinates do. Two atoms
/// on one axis do not count, nor do small forces read as positions, which span less.
bool look_like_fractions(const IngestedStructure& record) {
  constexpr double EDGE = 1.0001;  // files round 1 to 0.99999 or 1.00001
  constexpr double LEAST_SPAN = 0.24;
  Vector3 low = record.positions_ang.front();
  Vector3 high = low;
  for (const Vector3& position : record.positions_ang) {
    for (std::size_t k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], position[k]);
      high[k] = std::max(high[k], position[k]);
      if (!(high[k] - low[k] <= EDGE) || low[k] < -EDGE || high[k] > EDGE) return false;
    }
  }
  int axes = 0;
  for (std::size_t k = 0; k < 3; ++k) axes += high[k] - low[k] >= LEAST_SPAN ? 1 : 0;
  return axes >= (record.symbols.size() == 2 ? 2 : 1);
}

/// The smallest distance as a share of the sum of the two covalent radii, within the cell.
double closest_share(const IngestedStructure& record) {
  double closest = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < record.symbols.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      const Vector3& p = record.positions_ang[i];
      const Vector3& q = record.positions_ang[j];
      const double sum = static_cast<double>(covalent_radius_ang(record.symbols[i]) +
                                             covalent_radius_ang(record.symbols[j]));
      const double distance = std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]);
      if (sum > 0) closest = std::min(closest, distance / sum);
    }
  }
  return closest;
}

Observation non_finite_coordinates(const CheckInput& input) {
  std::vector<std::size_t> atoms;
  std::size_t count = 0;
  for (std::size_t i = 0; i < input.record.positions_ang.size() && !input.finite; ++i) {
    if (is_finite(input.record.positions_ang[i])) continue;
    if (++count <= MOST_ATOMS_NAMED) atoms.push_back(i);
  }
  if (count == 0) return {};
  return {"non_finite_coordinates",
          counted(count, "atom") + " of " + std::to_string(input.record.natoms) +
              (count == 1 ? " has" : " have") +
              " a coordinate that is no finite number, the first " +
              atom_text(input.record, atoms.front()) + ".",
          atoms};
}

std::string degenerate_cell(const CheckInput& input) {
  const IngestedStructure& record = input.record;
  if (!record.ok || input.has_volume) return {};
  if (!record.cell_ang) {
    if (record.format != "vasp") return {};
    return "A lattice vector of the file is zero, so that the record has no cell.";
  }
  const std::vector<Vector3>& cell = *record.cell_ang;
  if (!std::all_of(cell.begin(), cell.end(), is_finite)) {
    return "A lattice vector has a component that is no finite number.";
  }
  return "The lattice vectors lie in one plane or nearly so: they span " +
         number_text(std::abs(input.signed_volume_ang3)) + " \u00C5\u00B3.";
}

std::string left_handed_cell(const CheckInput& input) {
  if (!input.has_volume || input.signed_volume_ang3 > 0 || is_turned_by_scale(input)) {
    return {};
  }
  return "The lattice vectors a, b, c form a left-handed system (their determinant is " +
         number_text(input.signed_volume_ang3) + " \u00C5\u00B3).";
}

Observation overlapping_atoms(const CheckInput& input) {
  const IngestedStructure& record = input.record;
  const std::vector<ClosePair>& pairs = input.close.pairs;
  if (pairs.empty()) return {};
  const ClosePair& closest = pairs.front();
  const bool same_place = closest.distance_ang < SAME_PLACE_ANG;
  const std::string count = (input.close.complete ? "" : "At least ") +
                            counted(pairs.size(), "pair") + " of atoms " +
                            (pairs.size() == 1 ? "is" : "are");
  const std::string limit = same_place
                                ? "closer than 0.5 \u00C5 or 0.6 of the sum of their covalent radii"
                                : "closer than 0.6 of the sum of their covalent radii";
  return {"overlapping_atoms",
          count + " " + limit + "; the closest: " + pair_text(record, closest) + ".",
          atoms_of(pairs), same_place ? Severity::error : Severity::warning};
}

std::string coordinates_look_fractional(const CheckInput& input) {
  const IngestedStructure& record = input.record;
  if (!input.finite || record.symbols.size() < 2 || !look_like_fractions(record)) return {};
  // A CIF without a cell has a more specific finding.
  if (record.format == "cif") return {};
  const bool is_direct =
      input.poscar && !input.poscar->mode.empty() && !begins_with(input.poscar->mode, "cCkK");
  if (is_direct || !not_positions(input).empty()) return {};
  if (record.cell_ang) {
    const std::optional<CellGeometry> geometry = cell_geometry(*record.cell_ang);
    constexpr double FAR_LARGER_ANG = 2;
    if (!geometry || *std::min_element(geometry->lengths_ang.begin(), geometry->lengths_ang.end()) <
                         FAR_LARGER_ANG) {
      return {};
    }
  }
  const double share = record.symbols.size() > FEW_ATOMS ? 0 : closest_share(record);
  if (!(share < SHORTEST_BOND_SHARE)) return {};
  return "All " + std::to_string(record.natoms) +
         " atoms lie within a cube of 1 \u00C5, too close for atoms: the coordinates are most "
         "probably fractional, but were taken as \u00E5ngstr\u00F6m.";
}

std::string unusual_density(const CheckInput& input) {
  const IngestedStructure& record = input.record;
  if (!input.has_volume || !input.finite || is_turned_by_scale(input)) return {};
  const double volume = std::abs(input.signed_volume_ang3);
  const auto natoms = static_cast<double>(record.symbols.size());
  const std::optional<double> density = density_g_cm3(record.symbols, volume);
  if (density && *density > DENSEST_G_CM3) {
    return "The cell has a density of " + number_text(*density) +
           " g/cm\u00B3; the densest solid, osmium, has 22.6.";
  }
  if (natoms / volume > MOST_ATOMS_A_VOLUME) {
    return "The cell holds " + number_text(natoms / volume) +
           " atoms/\u00C5\u00B3; diamond, the solid with most, holds 0.176.";
  }
  // A single atom in a box is the usual way to compute an atom's energy; bonded atoms form a
  // molecule, a wire or a slab. Report only several atoms that are all far from each other.
  if (record.symbols.size() < 2 || volume / natoms < MOST_VOLUME_AN_ATOM_ANG3) return {};
  const ClosePairs bonds = find_close_pairs(
      record.positions_ang, scaled_radii(record.symbols, BONDED_SHARE), *record.cell_ang, 0);
  if (!bonds.pairs.empty() || !bonds.complete) return {};
  return "The cell is nearly empty: " + number_text(volume / natoms) +
         " \u00C5\u00B3 an atom, and no two atoms within a bond's length of each other.";
}

std::string no_cell(const CheckInput& input) {
  if (!input.record.ok || input.record.cell_ang) return {};
  return "The record has no cell: it is a molecule, or its cell is not in the file.";
}

std::string found_symmetry(const CheckInput& input) {
  const std::optional<SpaceGroup>& found = input.symmetry;
  if (!found) return {};
  const std::size_t natoms = input.record.symbols.size();
  const std::string primitive = counted(found->primitive_atoms, "atom");
  const std::string conventional = counted(found->conventional_atoms, "atom");
  std::string cell;
  if (natoms == found->primitive_atoms && natoms == found->conventional_atoms) {
    cell = "the size of the primitive cell";
  } else if (natoms == found->primitive_atoms) {
    cell = "the size of the primitive cell (the conventional one has " + conventional + ")";
  } else if (natoms == found->conventional_atoms) {
    cell = "the size of the conventional cell (the primitive one has " + primitive + ")";
  } else {
    cell = "neither the primitive cell (" + primitive + ") nor the conventional one (" +
           std::to_string(found->conventional_atoms) + ")";
  }
  return "Space group " + found->name + " (" + std::to_string(found->number) + ") within " +
         number_text(SYMMETRY_TOLERANCE_ANG) + " \u00C5; the cell, with " +
         counted(natoms, "atom") + ", is " + cell + ".";
}

}  // namespace

std::vector<Observation> check_geometry(const CheckInput& input) {
  return {non_finite_coordinates(input),
          {"degenerate_cell", degenerate_cell(input)},
          {"left_handed_cell", left_handed_cell(input)},
          overlapping_atoms(input),
          {"coordinates_look_fractional", coordinates_look_fractional(input)},
          {"unusual_density", unusual_density(input)},
          {"no_cell", no_cell(input)},
          {"found_symmetry", found_symmetry(input)}};
}

}  // namespace structure_ingest::internal
