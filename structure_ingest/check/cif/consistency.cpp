// Findings that compare what a CIF states about its content with the record, and with a second
// reading of the file. checkCIF of the International Union of Crystallography compares the same
// quantities.
#include <algorithm>
#include <cmath>
#include <map>

#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/input.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/cell_geometry.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

/// Tolerance for a stated volume, as a share of the volume of the file's own cell: it may be
/// rounded, or from another refinement.
constexpr double VOLUME_SHARE = 0.01;
/// Tolerance for the density, which is often stated with only two decimals.
constexpr double DENSITY_SHARE = 0.05;
/// Tolerance for the number of atoms of one element; never less than half an atom.
constexpr double COUNT_SHARE = 0.02;

using Composition = std::map<std::string, double>;

/// Parses "C12 H22 O11"; nothing for text that is not a plain formula.
std::optional<Composition> composition_of_formula(std::string_view formula) {
  Composition composition;
  for (std::string_view token = next_token(formula); !token.empty(); token = next_token(formula)) {
    while (!token.empty()) {
      std::string symbol(leading_symbol(token));
      token.remove_prefix(symbol.size());
      const std::size_t end = std::min(token.find_first_not_of("0123456789."), token.size());
      const std::optional<double> count = end == 0 ? 1.0 : cif_number(token.substr(0, end));
      token.remove_prefix(end);
      if (!count) return std::nullopt;
      if (symbol == "D") symbol = "H";
      if (symbol.empty() || canonical_symbol(symbol) != symbol) return std::nullopt;
      composition[symbol] += *count;
    }
  }
  if (composition.empty()) return std::nullopt;
  return composition;
}

double total(const Composition& composition) {
  double sum = 0;
  for (const auto& [symbol, count] : composition) sum += count;
  return sum;
}

bool is_same(const Composition& expected, double scale, const Composition& actual) {
  Composition all = actual;
  for (const auto& [symbol, count] : expected) all[symbol] -= scale * count;
  return std::all_of(all.begin(), all.end(), [&](const auto& difference) {
    const auto found = expected.find(difference.first);
    const double wanted = found == expected.end() ? 0 : scale * found->second;
    return std::abs(difference.second) <= std::max(COUNT_SHARE * wanted, 0.5);
  });
}

/// Whether the content is a multiple of the formula.
bool is_proportional(const Composition& formula, const Composition& content) {
  const double sum = total(formula);
  return sum > 0 && is_same(formula, total(content) / sum, content);
}

/// What the file states of its content.
struct Stated {
  std::string_view formula_text{};
  std::optional<Composition> formula{};
  std::optional<double> z{};  // the number of formula units in the cell
};

Stated stated_in(const CifBlock& block) {
  const std::string_view text = block.value({"_chemical_formula_sum"}).value_or("");
  return {text, composition_of_formula(text), block.number({"_cell_formula_units_z"})};
}

std::string formula_mismatch(const CheckInput& input, const Stated& stated, bool has_full_sites) {
  const std::optional<Composition>& formula = stated.formula;
  if (!formula || total(*formula) <= 0) return {};
  Composition content;
  for (const auto& [symbol, count] : symbol_counts(input.record.symbols)) {
    content[symbol] = static_cast<double>(count);
  }
  const bool has_z = stated.z && *stated.z > 0 && *stated.z < 1e4;
  // Partial occupancies explain a mismatch and have findings of their own.
  const bool occupancies_explain = input.second.refusal.empty() && !has_full_sites &&
                                   is_proportional(*formula, input.second.content);
  if (is_proportional(*formula, content) || occupancies_explain) {
    // Some programs write the formula of the whole cell and still state Z.
    if (!has_z || occupancies_explain || is_same(*formula, *stated.z, content) ||
        is_same(*formula, 1, content)) {
      return {};
    }
    const double units = total(content) / total(*formula);
    return "The file states Z = " + number_text(*stated.z) + " units of " +
           excerpt(stated.formula_text) + " in the cell, but the record holds " +
           number_text(units) + " (" + input.record.formula + ").";
  }
  Composition without_hydrogen = *formula;
  if (without_hydrogen.erase("H") > 0 && !content.contains("H") &&
      is_proportional(without_hydrogen, content)) {
    return "The file's formula is " + excerpt(stated.formula_text) +
           ", but it gives no positions of hydrogen: the record, " + input.record.formula +
           ", has none.";
  }
  const std::string times = has_z ? " times Z = " + number_text(*stated.z) : "";
  return "The file's formula is " + excerpt(stated.formula_text) + times +
         ", but the record holds " + input.record.formula + ".";
}

std::string volume_mismatch(const CifBlock& block, double volume) {
  const std::optional<double> stated = block.number({"_cell_volume"});
  if (!stated || !(*stated > 0) || std::abs(volume - *stated) <= VOLUME_SHARE * volume) return {};
  return "The file states a cell volume of " + number_text(*stated) +
         " \u00C5\u00B3, but its cell has " + number_text(volume) + " \u00C5\u00B3.";
}

std::string density_mismatch(const CheckInput& input, double volume) {
  const std::optional<double> stated = input.block->number({"_exptl_crystal_density_diffrn"});
  if (!stated || !(*stated > 0)) return {};
  const std::optional<double> density = density_g_cm3(input.record.symbols, volume);
  if (!density || std::abs(*density - *stated) <= DENSITY_SHARE * *stated) return {};
  return "The file states a density of " + number_text(*stated) +
         " g/cm\u00B3, but the record has " + number_text(*density) + " g/cm\u00B3.";
}

/// Whether both readers have the same atoms. They may differ in the species that they choose for a
/// shared place; that is not a disagreement.
bool do_readers_agree(const CheckInput& input) {
  const SecondReading& second = input.second;
  const bool is_same_number = second.natoms == static_cast<std::size_t>(input.record.natoms);
  return symbol_counts(input.record.symbols) == second.atoms ||
         (second.shared_places > 0 && is_same_number);
}

std::string readers_disagree(const CheckInput& input) {
  const SecondReading& second = input.second;
  if (do_readers_agree(input)) return {};
  const std::string from =
      second.symmetry_source.empty() ? "" : " from " + utf8_text(second.symmetry_source);
  return "A second reader, gemmi, expands the block " + excerpt(input.block->name) + from + " to " +
         counted(second.natoms, "atom") + ", " + formula_of(second.atoms) + "; the record holds " +
         std::to_string(input.record.natoms) + ", " + input.record.formula + ".";
}

std::string symmetry_unclear(const CheckInput& input, const Stated& stated) {
  const SecondReading& second = input.second;
  const std::string declared = "The file declares the space group " + excerpt(second.declared);
  if (second.symmetry_source.starts_with("the operations")) {
    if (second.declared_number == 0) return {};
    if (second.operations_number > 0 && second.operations_number != second.declared_number) {
      return declared + " (number " + std::to_string(second.declared_number) +
             "), but the operations that it lists are those of " + second.formed + " (number " +
             std::to_string(second.operations_number) + ").";
    }
    if (second.operations_number == 0 && second.operations != second.declared_operations) {
      return declared + ", which has " + std::to_string(second.declared_operations) +
             " operations in its standard cell, but lists " + std::to_string(second.operations) +
             ".";
    }
    return {};
  }
  if (second.several_settings) {
    return declared +
           ", of which there are several settings, and lists no operations that would "
           "tell which it means.";
  }
  if (second.declared_number == 0 && !second.declared.empty()) {
    return declared + ", which is not in the tables, and lists no operations.";
  }
  if (second.symmetry_source.empty() && stated.formula && stated.z &&
      total(*stated.formula) * *stated.z > static_cast<double>(input.record.natoms) + 0.5) {
    return "The file says nothing of its symmetry, and its sites are fewer than the " +
           number_text(total(*stated.formula) * *stated.z) + " atoms of its formula times Z.";
  }
  return {};
}

}  // namespace

bool is_confirmed(const CheckInput& input) {
  return input.block != nullptr && input.record.ok && input.second.refusal.empty() &&
         do_readers_agree(input);
}

std::vector<Observation> contradictions_in_cif(const CheckInput& input, bool has_full_sites) {
  std::vector<Observation> observations;
  if (input.second.not_strict) {
    observations.push_back(
        {"not_strict_cif",
         "A second reader, gemmi, does not take the file for a well-formed CIF: " +
             utf8_text(input.second.refusal.substr(0, 200)) + "."});
  }
  if (!input.has_volume) return observations;
  const double volume = std::abs(input.signed_volume_ang3);
  const Stated stated = stated_in(*input.block);
  observations.push_back({"volume_mismatch", volume_mismatch(*input.block, volume)});
  observations.push_back({"formula_mismatch", formula_mismatch(input, stated, has_full_sites)});
  // What is found of occupancies and the formula explains a difference of densities.
  if (has_full_sites && observations.back().message.empty()) {
    observations.push_back({"density_mismatch", density_mismatch(input, volume)});
  }
  if (!input.second.refusal.empty()) return observations;
  observations.push_back({"readers_disagree", readers_disagree(input)});
  observations.push_back({"symmetry_unclear", symmetry_unclear(input, stated)});
  return observations;
}

}  // namespace structure_ingest::internal
