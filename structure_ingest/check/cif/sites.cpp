// Findings on CIF content that a record of whole atoms cannot hold.
#include <algorithm>
#include <array>
#include <cmath>

#include "structure_ingest/check/rules.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

/// Treat an occupancy of at least this as full: refinements give values such as 0.998.
constexpr double FULL_OCCUPANCY = 0.995;
/// Sites closer than this in fractional coordinates are one place; ASE uses the same tolerance.
constexpr double SAME_PLACE = 1e-3;
/// Do not compare each site with each other beyond this many sites.
constexpr std::size_t MOST_SITES_COMPARED = 5000;

const CifBlock* block_of(const CheckInput& input) {
  return input.record.ok ? input.block : nullptr;
}

std::string label_of(const CifBlock& block, std::size_t site) {
  const auto* const labels = block.values({"_atom_site_label", "_atom_site_type_symbol"});
  return labels != nullptr && site < labels->size() ? shown((*labels)[site])
                                                    : "site " + std::to_string(site + 1);
}

/// "the file means Fe1.5O4 a cell, the record holds Fe2O4", with the parts that are known.
std::string contents_text(const CheckInput& input) {
  std::string text = "the record holds " + input.record.formula;
  if (input.second.refusal.empty()) {
    return "the file means " + composition_text(input.second.content) + " a cell, " + text;
  }
  if (const auto formula = input.block->value({"_chemical_formula_sum"})) {
    return "the file's formula is " + shown(*formula) + ", " + text;
  }
  return text;
}

struct Place {
  std::array<double, 3> fract;
  std::size_t site;
};

/// The sites that have a position, moved into the cell.
std::vector<Place> places_of(const CifBlock& block) {
  std::vector<Place> places;
  std::array<const std::vector<std::string_view>*, 3> columns = {
      block.values({"_atom_site_fract_x"}), block.values({"_atom_site_fract_y"}),
      block.values({"_atom_site_fract_z"})};
  if (std::find(columns.begin(), columns.end(), nullptr) != columns.end()) return places;
  const std::size_t count = std::min({columns[0]->size(), columns[1]->size(), columns[2]->size()});
  for (std::size_t i = 0; i < count; ++i) {
    Place place{{}, i};
    bool known = true;
    for (std::size_t k = 0; k < 3; ++k) {
      const std::optional<double> number = cif_number((*columns[k])[i]);
      known = known && number && std::isfinite(*number);
      if (known) place.fract[k] = *number - std::floor(*number);
    }
    if (known) places.push_back(place);
  }
  return places;
}

bool is_same_place(const Place& a, const Place& b) {
  for (std::size_t k = 0; k < 3; ++k) {
    const double apart = std::abs(a.fract[k] - b.fract[k]);
    if (std::min(apart, 1 - apart) >= SAME_PLACE) return false;
  }
  return true;
}

}  // namespace

std::vector<Observation> find_fractional_without_cell(const CheckInput& input) {
  const CifBlock* const block = block_of(input);
  if (block == nullptr || input.record.cell_ang) return {};
  if (block->values({"_atom_site_fract_x"}) == nullptr) return {};
  std::vector<std::string> missing;
  for (const char* name : {"_cell_length_a", "_cell_length_b", "_cell_length_c",
                           "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"}) {
    if (!block->value({name})) missing.emplace_back(name);
  }
  const std::string why = missing.empty() ? "has no usable cell" : "lacks " + first_of(missing, 6);
  return {{"The block " + shown(block->name) + " " + why +
           ", and its fractional coordinates were taken as \u00E5ngstr\u00F6m."}};
}

std::vector<Observation> find_partial_occupancy(const CheckInput& input) {
  const CifBlock* const block = block_of(input);
  if (block == nullptr) return {};
  const auto* const occupancies = block->values({"_atom_site_occupancy"});
  if (occupancies == nullptr) return {};
  std::vector<std::string> sites;
  for (std::size_t i = 0; i < occupancies->size(); ++i) {
    const std::optional<double> occupancy = cif_number((*occupancies)[i]);
    if (!occupancy || *occupancy >= FULL_OCCUPANCY) continue;
    sites.push_back(label_of(*block, i) + " (" + number_text(*occupancy) + ")");
  }
  if (sites.empty()) return {};
  return {{counted(sites.size(), "site") + " of " + std::to_string(occupancies->size()) +
           (sites.size() == 1 ? " is" : " are") + " not fully occupied, " + first_of(sites) +
           ", but became full atoms: " + contents_text(input) + "."}};
}

std::vector<Observation> find_mixed_site(const CheckInput& input) {
  const CifBlock* const block = block_of(input);
  if (block == nullptr) return {};
  const auto* const types = block->values({"_atom_site_type_symbol", "_atom_site_label"});
  const std::vector<Place> places = places_of(*block);
  if (types == nullptr || places.size() > MOST_SITES_COMPARED) return {};
  std::vector<std::string> pairs;
  for (std::size_t i = 0; i < places.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (!is_same_place(places[i], places[j])) continue;
      const std::size_t a = places[j].site;
      const std::size_t b = places[i].site;
      if (std::max(a, b) >= types->size()) continue;
      if (canonical_symbol((*types)[a]) == canonical_symbol((*types)[b])) continue;
      pairs.push_back(label_of(*block, a) + " and " + label_of(*block, b));
      break;
    }
  }
  if (pairs.empty()) return {};
  return {{counted(pairs.size(), "place") + (pairs.size() == 1 ? " holds" : " hold") +
           " several species, " + first_of(pairs) +
           ", of which the record has one: " + contents_text(input) + "."}};
}

std::vector<Observation> find_disordered_sites(const CheckInput& input) {
  const CifBlock* const block = block_of(input);
  if (block == nullptr) return {};
  const auto* const groups = block->values({"_atom_site_disorder_group"});
  if (groups == nullptr) return {};
  std::vector<std::string> names;
  std::size_t sites = 0;
  for (const std::string_view group : *groups) {
    if (group == "." || group == "?" || group == "0") continue;
    ++sites;
    const std::string name = shown(group);
    if (names.size() < 100 && std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(name);
    }
  }
  if (sites == 0) return {};
  return {{counted(sites, "site") + (sites == 1 ? " belongs" : " belong") +
           " to the disorder groups " + first_of(names) +
           ", which are alternatives; the record holds the atoms of all."}};
}

std::vector<Observation> find_several_blocks(const CheckInput& input) {
  if (block_of(input) == nullptr || input.blocks_with_atoms < 2) return {};
  return {{"The file has " + std::to_string(input.blocks_with_atoms) +
           " data blocks with atoms; the record holds the last, " + shown(input.block->name) +
           "."}};
}

std::vector<Observation> find_beyond_space_group(const CheckInput& input) {
  const CifBlock* const block = block_of(input);
  if (block == nullptr) return {};
  if (block->has_name_with("_cell_modulation_dimension") ||
      block->has_name_with("_cell_wave_vector") || block->has_name_with("_space_group_ssg")) {
    return {{"The structure is modulated; the record holds the average that a space group gives."}};
  }
  if (block->has_name_with("_space_group_magn") ||
      block->has_name_with("_space_group_symop_magn")) {
    return {
        {"The symmetry is that of a magnetic space group, which the reader does not use, and "
         "magnetic moments are not in the record."}};
  }
  if (block->has_name_with("_atom_site_moment")) {
    return {{"The file has magnetic moments, which are not in the record."}};
  }
  return {};
}

std::vector<Observation> find_deuterium_as_hydrogen(const CheckInput& input) {
  const CifBlock* const block = block_of(input);
  if (block == nullptr) return {};
  const auto* const types = block->values({"_atom_site_type_symbol", "_atom_site_label"});
  if (types == nullptr) return {};
  const auto count = std::count_if(types->begin(), types->end(), [](std::string_view type) {
    return type.starts_with('D') && (type.size() == 1 || type[1] < 'a' || type[1] > 'z') &&
           (type.size() == 1 || type[1] < 'A' || type[1] > 'Z');
  });
  if (count == 0) return {};
  return {{counted(static_cast<std::size_t>(count), "site") +
           " of deuterium became hydrogen in the record."}};
}

}  // namespace structure_ingest::internal
