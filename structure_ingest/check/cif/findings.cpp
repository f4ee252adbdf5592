// Findings on CIF content that a record of whole atoms cannot hold.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/input.hpp"
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

std::string label_of(const CifBlock& block, std::size_t site) {
  const auto* const labels = block.values({"_atom_site_label", "_atom_site_type_symbol"});
  return labels != nullptr && site < labels->size() ? excerpt((*labels)[site])
                                                    : "site " + std::to_string(site + 1);
}

/// "the file means Fe1.5O4 a cell, the record holds Fe2O4", with the parts that are known.
std::string contents_text(const CheckInput& input) {
  std::string text = "the record holds " + input.record.formula;
  if (input.second.refusal.empty()) {
    return "the file means " + composition_text(input.second.content) + " a cell, " + text;
  }
  if (const auto formula = input.block->value({"_chemical_formula_sum"})) {
    return "the file's formula is " + excerpt(*formula) + ", " + text;
  }
  return text;
}

struct SharedPlace {
  std::array<double, 3> fract;
  std::size_t site;
};

/// The sites that have a position, moved into the cell.
std::vector<SharedPlace> places_of(const CifBlock& block) {
  std::vector<SharedPlace> places;
  std::array<const std::vector<std::string_view>*, 3> columns{};
  std::size_t count = std::numeric_limits<std::size_t>::max();
  for (std::size_t k = 0; k < 3; ++k) {
    columns[k] = block.values({CIF_FRACTION_NAMES[k]});
    if (columns[k] == nullptr) return places;
    count = std::min(count, columns[k]->size());
  }
  for (std::size_t i = 0; i < count; ++i) {
    SharedPlace place{{}, i};
    bool is_known = true;
    for (std::size_t k = 0; k < 3; ++k) {
      const std::optional<double> number = cif_number((*columns[k])[i]);
      is_known = is_known && number && std::isfinite(*number);
      if (is_known) place.fract[k] = *number - std::floor(*number);
    }
    if (is_known) places.push_back(place);
  }
  return places;
}

bool is_same_place(const SharedPlace& a, const SharedPlace& b) {
  for (std::size_t k = 0; k < 3; ++k) {
    const double apart = std::abs(a.fract[k] - b.fract[k]);
    if (std::min(apart, 1 - apart) >= SAME_PLACE) return false;
  }
  return true;
}

std::string fractional_without_cell(const CheckInput& input) {
  const CifBlock& block = *input.block;
  if (input.record.cell_ang || block.values({CIF_FRACTION_NAMES[0]}) == nullptr) return {};
  std::vector<std::string> missing;
  for (const char* name : CIF_CELL_NAMES) {
    if (!block.value({name})) missing.emplace_back(name);
  }
  const std::string why = missing.empty() ? "has no usable cell" : "lacks " + listed(missing, 6);
  return "The block " + excerpt(block.name) + " " + why +
         ", and its fractional coordinates were taken as \u00E5ngstr\u00F6m.";
}

std::string partial_occupancy(const CheckInput& input) {
  const auto* const occupancies = input.block->values({"_atom_site_occupancy"});
  if (occupancies == nullptr) return {};
  std::vector<std::string> sites;
  for (std::size_t i = 0; i < occupancies->size(); ++i) {
    const std::optional<double> occupancy = cif_number((*occupancies)[i]);
    if (!occupancy || *occupancy >= FULL_OCCUPANCY) continue;
    sites.push_back(label_of(*input.block, i) + " (" + number_text(*occupancy) + ")");
  }
  if (sites.empty()) return {};
  return counted(sites.size(), "site") + " of " + std::to_string(occupancies->size()) +
         (sites.size() == 1 ? " is" : " are") + " not fully occupied, " + listed(sites) +
         ", but became full atoms: " + contents_text(input) + ".";
}

std::string mixed_site(const CheckInput& input) {
  const CifBlock& block = *input.block;
  const auto* const types = block.values({"_atom_site_type_symbol", "_atom_site_label"});
  const std::vector<SharedPlace> places = places_of(block);
  if (types == nullptr || places.size() > MOST_SITES_COMPARED) return {};
  std::vector<std::string> pairs;
  for (std::size_t i = 0; i < places.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (!is_same_place(places[i], places[j])) continue;
      const std::size_t a = places[j].site;
      const std::size_t b = places[i].site;
      if (std::max(a, b) >= types->size()) continue;
      if (canonical_symbol((*types)[a]) == canonical_symbol((*types)[b])) continue;
      pairs.push_back(label_of(block, a) + " and " + label_of(block, b));
      break;
    }
  }
  if (pairs.empty()) return {};
  return counted(pairs.size(), "place") + (pairs.size() == 1 ? " holds" : " hold") +
         " several species, " + listed(pairs) +
         ", of which the record has one: " + contents_text(input) + ".";
}

std::string disordered_sites(const CifBlock& block) {
  const auto* const groups = block.values({"_atom_site_disorder_group"});
  if (groups == nullptr) return {};
  std::vector<std::string> names;
  std::size_t sites = 0;
  for (const std::string_view group : *groups) {
    if (is_unknown(group) || group == "0") continue;
    ++sites;
    const std::string name = excerpt(group);
    if (names.size() < 100 && std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(name);
    }
  }
  if (sites == 0) return {};
  return counted(sites, "site") + (sites == 1 ? " belongs" : " belong") +
         " to the disorder groups " + listed(names) +
         ", which are alternatives; the record holds the atoms of all.";
}

std::string several_blocks(const CheckInput& input) {
  if (input.blocks_with_atoms < 2) return {};
  return "The file has " + std::to_string(input.blocks_with_atoms) +
         " data blocks with atoms; the record holds the last, " + excerpt(input.block->name) + ".";
}

std::string beyond_space_group(const CifBlock& block) {
  if (block.has_name_with("_cell_modulation_dimension") ||
      block.has_name_with("_cell_wave_vector") || block.has_name_with("_space_group_ssg")) {
    return "The structure is modulated; the record holds the average that a space group gives.";
  }
  if (block.has_name_with("_space_group_magn") || block.has_name_with("_space_group_symop_magn")) {
    return "The symmetry is that of a magnetic space group, which the reader does not use, and "
           "magnetic moments are not in the record.";
  }
  if (block.has_name_with("_atom_site_moment")) {
    return "The file has magnetic moments, which are not in the record.";
  }
  return {};
}

std::string deuterium_as_hydrogen(const CifBlock& block) {
  const auto* const types = block.values({"_atom_site_type_symbol", "_atom_site_label"});
  if (types == nullptr) return {};
  const auto count = std::count_if(types->begin(), types->end(), [](std::string_view type) {
    return type.starts_with('D') && (type.size() == 1 || !is_letter(type[1]));
  });
  if (count == 0) return {};
  return counted(static_cast<std::size_t>(count), "site") +
         " of deuterium became hydrogen in the record.";
}

std::string charges_dropped(const CifBlock& block) {
  const auto* const charges = block.values({"_atom_site_charge"});
  if (charges == nullptr) return {};
  const auto count = std::count_if(charges->begin(), charges->end(), [](std::string_view charge) {
    return cif_number(charge).value_or(0) != 0;
  });
  if (count == 0) return {};
  return "The file gives charges of " + counted(static_cast<std::size_t>(count), "site") +
         ", which the record does not hold.";
}

/// ASE takes a capital letter and a small one: it reads CL as C.
Observation label_reinterpreted(const CheckInput& input) {
  const auto* const types = input.block->values({"_atom_site_type_symbol"});
  const auto* const labels = types != nullptr ? types : input.block->values({"_atom_site_label"});
  if (labels == nullptr) return {};
  const std::string formula(input.block->value({"_chemical_formula_sum"}).value_or(""));
  std::vector<std::string> texts;
  for (const std::string_view label : *labels) {
    if (label.size() < 2 || !is_capital(label[0]) || !is_capital(label[1])) continue;
    if (types != nullptr && label.size() > 2 && is_letter(label[2])) continue;
    const std::string symbol = canonical_symbol(label);
    if (symbol.size() != 2) continue;
    // Without a type symbol the label may mean either element: only the formula can decide.
    if (types == nullptr && formula.find(symbol) == std::string::npos) continue;
    const std::string read(1, label[0]);
    if (!std::binary_search(input.record.species.begin(), input.record.species.end(), read)) {
      continue;
    }
    const std::string text = excerpt(label) + " as " + read;
    if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(text);
    if (texts.size() > 100) break;
  }
  return label_observation(texts, {}, types != nullptr ? Severity::error : Severity::warning);
}

}  // namespace

std::vector<Observation> check_cif(const CheckInput& input) {
  if (!input.record.ok || input.block == nullptr) return {};
  const std::string partial = partial_occupancy(input);
  const std::string mixed = mixed_site(input);
  std::vector<Observation> observations =
      contradictions_in_cif(input, partial.empty() && mixed.empty());
  std::ranges::move(
      std::vector<Observation>{{"fractional_without_cell", fractional_without_cell(input)},
                               {"partial_occupancy", partial},
                               {"mixed_site", mixed},
                               {"disordered_sites", disordered_sites(*input.block)},
                               {"several_blocks", several_blocks(input)},
                               {"beyond_space_group", beyond_space_group(*input.block)},
                               {"charges_dropped", charges_dropped(*input.block)},
                               {"deuterium_as_hydrogen", deuterium_as_hydrogen(*input.block)},
                               label_reinterpreted(input)},
      std::back_inserter(observations));
  return observations;
}

}  // namespace structure_ingest::internal
