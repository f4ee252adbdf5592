// Findings that compare what a CIF states about its content with the record, and with a second
// reading of the file. checkCIF of the International Union of Crystallography compares the same
// quantities.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/rules.hpp"
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
      const bool two = token.size() > 1 && token[1] >= 'a' && token[1] <= 'z';
      if (token[0] < 'A' || token[0] > 'Z') return std::nullopt;
      std::string symbol(token.substr(0, two ? 2 : 1));
      token.remove_prefix(symbol.size());
      const std::size_t end = std::min(token.find_first_not_of("0123456789."), token.size());
      const std::optional<double> count = end == 0 ? 1.0 : cif_number(token.substr(0, end));
      token.remove_prefix(end);
      if (!count) return std::nullopt;
      if (symbol == "D") symbol = "H";
      if (canonical_symbol(symbol) != symbol) return std::nullopt;
      composition[symbol] += *count;
    }
  }
  if (composition.empty()) return std::nullopt;
  return composition;
}

Composition composition_of(const IngestedStructure& record) {
  Composition composition;
  for (const auto& [symbol, count] : symbol_counts(record.symbols)) {
    composition[symbol] = static_cast<double>(count);
  }
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

const CifBlock* block_with_cell(const CheckInput& input) {
  return input.record.ok && input.has_volume ? input.block : nullptr;
}

bool has_full_sites_only(const CheckInput& input) {
  return find_partial_occupancy(input).empty() && find_mixed_site(input).empty();
}

std::string counts_text(const std::map<std::string, std::size_t>& atoms) {
  Composition composition;
  for (const auto& [symbol, count] : atoms) composition[symbol] = static_cast<double>(count);
  return composition_text(composition);
}

}  // namespace

std::vector<Observation> find_formula_mismatch(const CheckInput& input) {
  const CifBlock* const block = block_with_cell(input);
  if (block == nullptr) return {};
  const std::optional<std::string_view> text = block->value({"_chemical_formula_sum"});
  const std::optional<Composition> formula = text ? composition_of_formula(*text) : std::nullopt;
  if (!formula || total(*formula) <= 0) return {};
  const Composition content = composition_of(input.record);
  const std::optional<double> z = block->number({"_cell_formula_units_z"});
  const bool has_z = z && *z > 0 && *z < 1e4;
  // Partial occupancies explain a mismatch and have findings of their own.
  const Composition& meant = input.second.content;
  const bool occupancies_explain = input.second.refusal.empty() && !has_full_sites_only(input) &&
                                   is_proportional(*formula, meant);
  if (is_proportional(*formula, content) || occupancies_explain) {
    // Some programs write the formula of the whole cell and still state Z.
    if (!has_z || occupancies_explain || is_same(*formula, *z, content) ||
        is_same(*formula, 1, content)) {
      return {};
    }
    const double units = total(content) / total(*formula);
    return {{"The file states Z = " + number_text(*z) + " units of " + shown(*text) +
             " in the cell, but the record holds " + number_text(units) + " (" +
             input.record.formula + ")."}};
  }
  const bool only_hydrogen_lacks = [&] {
    Composition without = *formula;
    return without.erase("H") > 0 && !content.contains("H") && !without.empty() &&
           is_proportional(without, content);
  }();
  if (only_hydrogen_lacks) {
    return {{"The file's formula is " + shown(*text) +
             ", but it gives no positions of hydrogen: the record, " + input.record.formula +
             ", has none."}};
  }
  const std::string times = has_z ? " times Z = " + number_text(*z) : "";
  return {{"The file's formula is " + shown(*text) + times + ", but the record holds " +
           input.record.formula + "."}};
}

std::vector<Observation> find_volume_mismatch(const CheckInput& input) {
  const CifBlock* const block = block_with_cell(input);
  const std::optional<double> stated =
      block == nullptr ? std::nullopt : block->number({"_cell_volume"});
  if (!stated || !(*stated > 0)) return {};
  const double volume = std::abs(input.signed_volume_ang3);
  if (std::abs(volume - *stated) <= VOLUME_SHARE * volume) return {};
  return {{"The file states a cell volume of " + number_text(*stated) +
           " \u00C5\u00B3, but its cell has " + number_text(volume) + " \u00C5\u00B3."}};
}

std::vector<Observation> find_density_mismatch(const CheckInput& input) {
  const CifBlock* const block = block_with_cell(input);
  const std::optional<double> stated =
      block == nullptr ? std::nullopt : block->number({"_exptl_crystal_density_diffrn"});
  if (!stated || !(*stated > 0)) return {};
  const std::optional<double> density =
      density_g_cm3(input.record.symbols, std::abs(input.signed_volume_ang3));
  if (!density || std::abs(*density - *stated) <= DENSITY_SHARE * *stated) return {};
  // The findings on occupancies and on the formula explain such a difference.
  if (!has_full_sites_only(input) || !find_formula_mismatch(input).empty()) return {};
  return {{"The file states a density of " + number_text(*stated) +
           " g/cm\u00B3, but the record has " + number_text(*density) + " g/cm\u00B3."}};
}

std::vector<Observation> find_readers_disagree(const CheckInput& input) {
  const CifBlock* const block = block_with_cell(input);
  if (block == nullptr || !input.second.refusal.empty()) return {};
  std::map<std::string, std::size_t> counts;
  for (const auto& [symbol, count] : symbol_counts(input.record.symbols)) counts[symbol] = count;
  // Readers may differ in the species that they choose for a shared place; that is not a
  // disagreement.
  const bool same_number = input.second.natoms == static_cast<std::size_t>(input.record.natoms);
  if (counts == input.second.atoms || (input.second.shared_places > 0 && same_number)) return {};
  const std::string from = input.second.symmetry_source.empty()
                               ? ""
                               : " from " + utf8_text(input.second.symmetry_source);
  return {{"A second reader, gemmi, expands the block " + shown(block->name) + from + " to " +
           counted(input.second.natoms, "atom") + ", " + counts_text(input.second.atoms) +
           "; the record holds " + std::to_string(input.record.natoms) + ", " +
           input.record.formula + "."}};
}

std::vector<Observation> find_symmetry_unclear(const CheckInput& input) {
  const CifBlock* const block = block_with_cell(input);
  if (block == nullptr || !input.second.refusal.empty()) return {};
  const SecondReading& second = input.second;
  const bool lists_operations = second.symmetry_source.starts_with("the operations");
  const std::string declared = "The file declares the space group " + shown(second.declared);
  if (lists_operations && second.declared_number > 0) {
    if (second.operations_number > 0 && second.operations_number != second.declared_number) {
      return {{declared + " (number " + std::to_string(second.declared_number) +
               "), but the operations that it lists are those of " + second.formed + " (number " +
               std::to_string(second.operations_number) + ")."}};
    }
    if (second.operations_number == 0 && second.operations != second.declared_operations) {
      return {{declared + ", which has " + std::to_string(second.declared_operations) +
               " operations in its standard cell, but lists " + std::to_string(second.operations) +
               "."}};
    }
    return {};
  }
  if (!lists_operations && second.several_settings) {
    return {{declared + ", of which there are several settings, and lists no operations that would "
                        "tell which it means."}};
  }
  if (!lists_operations && second.declared_number == 0 && !second.declared.empty()) {
    return {{declared + ", which is not in the tables, and lists no operations."}};
  }
  const std::optional<std::string_view> text = block->value({"_chemical_formula_sum"});
  const std::optional<Composition> formula = text ? composition_of_formula(*text) : std::nullopt;
  const std::optional<double> z = block->number({"_cell_formula_units_z"});
  if (second.symmetry_source.empty() && formula && z &&
      total(*formula) * *z > static_cast<double>(input.record.natoms) + 0.5) {
    return {{"The file says nothing of its symmetry, and its sites are fewer than the " +
             number_text(total(*formula) * *z) + " atoms of its formula times Z."}};
  }
  return {};
}

std::vector<Observation> find_not_strict_cif(const CheckInput& input) {
  if (!input.record.ok || !input.second.not_strict) return {};
  return {{"A second reader, gemmi, does not take the file for a well-formed CIF: " +
           utf8_text(input.second.refusal.substr(0, 200)) + "."}};
}

}  // namespace structure_ingest::internal
