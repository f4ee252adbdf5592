// Why a CIF gave no structure.
#include <algorithm>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/input.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace structure_ingest::internal {
namespace {

std::string missing_sites(const CifFile& file) {
  const auto any_has = [&](std::string_view beginning) {
    return std::any_of(file.blocks.begin(), file.blocks.end(),
                       [&](const CifBlock& block) { return block.has_name_with(beginning); });
  };
  std::string none = file.blocks.size() == 1 ? "its data block has no atom sites"
                                             : "none of its " + std::to_string(file.blocks.size()) +
                                                   " data blocks has atom sites";
  if (any_has("_atom_site.")) {
    return "it is an mmCIF of a macromolecule, whose atom sites are named in another way";
  }
  if (any_has("_chem_comp_atom") || any_has("_chem_comp.")) {
    return "it describes a component of a macromolecule and no crystal";
  }
  if (any_has("_refln_") || any_has("_refln.") || any_has("_diffrn_refln")) {
    return none + ", only a list of reflections";
  }
  if (any_has("_pd_")) return none + ", only a powder pattern";
  if (any_has("_atom_site_label") || any_has("_atom_site_type_symbol")) {
    return "its atom sites have no coordinates";
  }
  return none;
}

/// The symbol that ASE takes from a label: its first capital letter and a small letter after it.
std::string_view symbol_for_ase(std::string_view label) {
  const auto* const first = std::find_if(label.begin(), label.end(), is_capital);
  return leading_symbol({first, label.end()});
}

}  // namespace

std::string problem_of_cif(const CifFile& file, std::string_view message) {
  if (file.blocks.empty()) return "it has no data block (no line that begins with data_)";
  if (!file.text_before.empty()) {
    return "the line " + excerpt(file.text_before) + " stands before its first data block";
  }
  const CifBlock* with_sites = nullptr;
  for (const CifBlock& block : file.blocks) {
    for (const char* name : {"_atom_site_fract_x", "_atom_site_cartn_x"}) {
      if (block.values({name}) != nullptr) with_sites = &block;
    }
  }
  if (with_sites == nullptr) return missing_sites(file);
  if (message.starts_with("data_")) {
    return "ASE takes it for a file of another format, because of a word among its first lines";
  }
  if (!file.incomplete_loop.empty()) {
    return "a row of the loop of " + utf8_text(file.incomplete_loop) + " is incomplete";
  }
  if (message.find("incomplete row") != std::string_view::npos) {
    return "a blank line or a comment stands within a row of a loop";
  }
  const CifBlock& block = *with_sites;
  const std::string in_block = "in the block " + excerpt(block.name) + " ";
  const auto* const x = block.values({"_atom_site_fract_x", "_atom_site_cartn_x"});
  if (x->empty()) return in_block + "the list of atom sites is empty";
  if (std::all_of(x->begin(), x->end(), is_unknown))
    return in_block + "the coordinates of all atom sites are unknown";
  const auto* const types = block.values({"_atom_site_type_symbol", "_atom_site_label"});
  if (types == nullptr) return in_block + "the atom sites have neither labels nor types";
  const auto unknown = std::find_if(types->begin(), types->end(), is_unknown);
  if (unknown != types->end()) {
    return in_block + "atom site " + std::to_string(unknown - types->begin() + 1) +
           " has no element";
  }
  for (const char* name : CIF_FRACTION_NAMES) {
    const auto* const column = block.values({name});
    if (column == nullptr) continue;
    const auto bad = std::find_if(column->begin(), column->end(),
                                  [](std::string_view value) { return !cif_number(value); });
    if (bad != column->end()) {
      return in_block + name + " of atom site " + std::to_string(bad - column->begin() + 1) +
             " is " + excerpt(*bad) + ", which is no number";
    }
  }
  for (const std::string_view type : *types) {
    const std::string_view symbol = symbol_for_ase(type);
    if (canonical_symbol(symbol) != symbol && symbol != "D") {
      return in_block + "the atom site " + excerpt(type) + " is of no element";
    }
  }
  for (const char* name : CIF_CELL_NAMES) {
    const auto* const values = block.values({name});
    if (values == nullptr || values->empty()) continue;
    const std::optional<double> number = cif_number(values->front());
    if (!number || !(*number > 0)) {
      return in_block + name + " is " + excerpt(values->front()) + ", which is no length or angle";
    }
  }
  const auto group = block.value({"_space_group_name_h-m_alt", "_symmetry_space_group_name_h-m"});
  const auto number = block.value({"_space_group_it_number", "_symmetry_int_tables_number"});
  if (block.has_operations() && !group && !number) {
    return in_block +
           "symmetry operations are listed without the name or number of a space group, "
           "which ASE needs with them";
  }
  const std::string lower = ascii_lower_cased(message);
  const bool on_symmetry = lower.find("spacegroup") != std::string::npos ||
                           lower.find("space group") != std::string::npos ||
                           lower.find("setting") != std::string::npos;
  if (group && (on_symmetry || message.empty())) {
    return in_block + "ASE cannot use the space group " + excerpt(*group) +
           (number ? " (number " + std::string(utf8_text(*number)) + ")" : "");
  }
  return {};
}

}  // namespace structure_ingest::internal
