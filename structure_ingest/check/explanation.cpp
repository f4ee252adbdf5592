// Findings that explain in plain words why a file could not be read, and the reader's own warnings.
#include <algorithm>
#include <array>
#include <cctype>

#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/rules.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace structure_ingest::internal {
namespace {

/// The kind of file that the first bytes show, regardless of its name; empty when they show none.
std::string kind_of(std::string_view bytes) {
  using namespace std::string_view_literals;
  constexpr std::array<std::pair<std::string_view, const char*>, 13> BEGINNINGS = {{
      {"\x1F\x8B"sv, "it is compressed with gzip"},
      {"BZh"sv, "it is compressed with bzip2"},
      {"\xFD"
       "7zXZ"sv,
       "it is compressed with xz"},
      {"PK\x03\x04"sv, "it is a ZIP archive"},
      {"%PDF"sv, "it is a PDF document"},
      {"\x89HDF"sv, "it is an HDF5 file"},
      {"\x89PNG"sv, "it is a picture"},
      {"\xFF\xFE"sv, "it is text in UTF-16"},
      {"\xFE\xFF"sv, "it is text in UTF-16"},
      {"version https://git-lfs"sv, "it is a Git LFS pointer: the file itself was not downloaded"},
      {"<!DOCTYPE"sv, "it is a web page"},
      {"<html"sv, "it is a web page"},
      {"<?xml"sv, "it is an XML document"},
  }};
  for (const auto& [beginning, what] : BEGINNINGS) {
    if (bytes.starts_with(beginning)) return what;
  }
  const std::string_view text = bytes.substr(0, 4096);
  if (stripped(text).empty() && bytes.size() <= 4096) {
    return bytes.empty() ? "it is empty" : "it holds nothing but blanks";
  }
  std::string_view rest = text;
  const std::string_view word = next_token(rest);
  const std::string lower = ascii_lower_cased(word.substr(0, 9));
  if (lower.starts_with("<html") || lower.starts_with("<!doctype")) return "it is a web page";
  if (word == "404:" || (word == "404" && next_token(rest) == "Not")) {
    return "it is a server's answer that the file was not found";
  }
  if (word.starts_with("{") || word.starts_with("[{")) return "it is JSON";
  if (text.find('\0') != std::string_view::npos) return "it is binary";
  for (const std::string_view record : {"HEADER", "CRYST1", "ATOM", "HETATM", "COMPND", "REMARK"}) {
    if (word == record) return "it is a PDB file";
  }
  return {};
}

bool is_all_blank(const std::vector<std::string_view>& values) {
  return std::all_of(values.begin(), values.end(),
                     [](std::string_view value) { return value == "?" || value == "."; });
}

std::string missing_sites(const CifFile& file) {
  const auto any_has = [&](std::string_view beginning) {
    return std::any_of(file.blocks.begin(), file.blocks.end(),
                       [&](const CifBlock& block) { return block.has_name_with(beginning); });
  };
  const std::string none =
      file.blocks.size() == 1
          ? "its data block has no atom sites"
          : "none of its " + std::to_string(file.blocks.size()) + " data blocks has atom sites";
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
std::string symbol_for_ase(std::string_view label) {
  const auto* const first =
      std::find_if(label.begin(), label.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
  if (first == label.end()) return {};
  std::string symbol(1, *first);
  if (first + 1 != label.end() && first[1] >= 'a' && first[1] <= 'z') symbol += first[1];
  return symbol;
}

/// The problem of a CIF; empty when none is found.
std::string problem_of_cif(const CifFile& file, std::string_view message) {
  if (file.blocks.empty()) return "it has no data block (no line that begins with data_)";
  if (!file.text_before.empty()) {
    return "the line " + shown(file.text_before) + " stands before its first data block";
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
  const std::string in_block = "in the block " + shown(block.name) + " ";
  const auto* const x = block.values({"_atom_site_fract_x", "_atom_site_cartn_x"});
  if (x->empty()) return in_block + "the list of atom sites is empty";
  if (is_all_blank(*x)) return in_block + "the coordinates of all atom sites are unknown";
  const auto* const types = block.values({"_atom_site_type_symbol", "_atom_site_label"});
  if (types == nullptr) return in_block + "the atom sites have neither labels nor types";
  const auto blank = [](std::string_view value) { return value == "?" || value == "."; };
  const auto unknown = std::find_if(types->begin(), types->end(), blank);
  if (unknown != types->end()) {
    return in_block + "atom site " + std::to_string(unknown - types->begin() + 1) +
           " has no element";
  }
  for (const char* name : {"_atom_site_fract_x", "_atom_site_fract_y", "_atom_site_fract_z"}) {
    const auto* const column = block.values({name});
    if (column == nullptr) continue;
    const auto bad = std::find_if(column->begin(), column->end(),
                                  [](std::string_view value) { return !cif_number(value); });
    if (bad != column->end()) {
      return in_block + name + " of atom site " + std::to_string(bad - column->begin() + 1) +
             " is " + shown(*bad) + ", which is no number";
    }
  }
  for (const std::string_view type : *types) {
    const std::string symbol = symbol_for_ase(type);
    if (canonical_symbol(symbol) != symbol && symbol != "D") {
      return in_block + "the atom site " + shown(type) + " is of no element";
    }
  }
  for (const char* name : {"_cell_length_a", "_cell_length_b", "_cell_length_c",
                           "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"}) {
    const auto* const values = block.values({name});
    if (values == nullptr || values->empty()) continue;
    const std::optional<double> number = cif_number(values->front());
    if (!number || !(*number > 0)) {
      return in_block + name + " is " + shown(values->front()) + ", which is no length or angle";
    }
  }
  const auto group = block.value({"_space_group_name_h-m_alt", "_symmetry_space_group_name_h-m"});
  const auto number = block.value({"_space_group_it_number", "_symmetry_int_tables_number"});
  const bool has_operations =
      block.values({"_space_group_symop_operation_xyz", "_space_group_symop.operation_xyz",
                    "_symmetry_equiv_pos_as_xyz"}) != nullptr;
  if (has_operations && !group && !number) {
    return in_block +
           "symmetry operations are listed without the name or number of a space group, "
           "which ASE needs with them";
  }
  const std::string lower = ascii_lower_cased(message);
  const bool on_symmetry = lower.find("spacegroup") != std::string::npos ||
                           lower.find("space group") != std::string::npos ||
                           lower.find("setting") != std::string::npos;
  if (group && (on_symmetry || message.empty())) {
    return in_block + "ASE cannot use the space group " + shown(*group) +
           (number ? " (number " + std::string(utf8_text(*number)) + ")" : "");
  }
  return {};
}

std::string problem_of_poscar(const PoscarFile& file, std::string_view name) {
  if (!file.problem.empty()) return file.problem;
  for (std::size_t i = 0; i < file.symbols.size(); ++i) {
    if (canonical_symbol(file.symbols[i]) == file.symbols[i]) continue;
    return "line 6 names " + shown(file.symbols[i]) + ", which is no element";
  }
  if (!file.symbols.empty() && file.symbols.size() < file.counts.size()) {
    return "line 6 names " + counted(file.symbols.size(), "element") +
           " and line 7 counts the atoms of " + std::to_string(file.counts.size());
  }
  if (file.symbols.empty()) {
    return "it has no line of element symbols before the counts of line 6, its title " +
           shown(file.title) + " does not name them, and no POTCAR beside it does";
  }
  if (file.natoms == 0) return "it counts no atoms";
  const bool known = name.find("POSCAR") != std::string_view::npos ||
                     name.find("CONTCAR") != std::string_view::npos ||
                     ascii_lower_cased(name).ends_with(".poscar") ||
                     ascii_lower_cased(name).ends_with(".vasp");
  if (!known) return "ASE knows POSCAR and CONTCAR in capital letters only: rename the file";
  const std::string_view mode = stripped(file.mode);
  if (!mode.empty() && (mode[0] == 's' || mode[0] == 'S')) {
    return "line " + std::to_string(file.mode_line) + ", " + shown(file.mode) +
           ", begins with a blank, so that selective dynamics was not seen";
  }
  return {};
}

/// Finds the line of an XYZ file that its warning is about, and describes it.
std::string problem_of_xyz(std::string_view bytes, std::string_view warning) {
  const std::vector<std::string_view> lines = lines_of(bytes, 25000);
  const std::string_view first = lines.empty() ? "" : lines[0];
  if (warning.starts_with("First line")) {
    if (bytes.starts_with("\xEF\xBB\xBF")) {
      return "a byte-order mark stands before the atom count of line 1";
    }
    const std::vector<std::string_view> tokens = tokens_of(first, 5);
    if (tokens.size() == 4 && !canonical_symbol(tokens[0]).empty() && float_value(tokens[1]) &&
        float_value(tokens[2]) && float_value(tokens[3])) {
      return "it begins with an atom, " + shown(first) +
             ": the lines with the atom count and the comment are missing";
    }
    if (stripped(first).empty()) return "line 1, which is to give the atom count, is blank";
    return "line 1 is to give the atom count, but is " + shown(first);
  }
  if (warning.starts_with("Unknown element symbol") || warning.starts_with("Malformed atom line") ||
      warning.starts_with("Non-numeric coordinates")) {
    // The reader's warning quotes the first bad line but does not give its number.
    for (std::size_t i = 2; i < lines.size(); ++i) {
      const std::vector<std::string_view> tokens = tokens_of(lines[i], 5);
      const std::string line = "line " + std::to_string(i + 1) + ", " + shown(lines[i]) + ", ";
      if (tokens.size() < 4) {
        if (stripped(lines[i]).empty()) {
          return "line " + std::to_string(i + 1) + " is blank where an atom is expected";
        }
        return line + "is no atom with three coordinates";
      }
      if (canonical_symbol(tokens[0]).empty()) {
        const bool number = integer_text(tokens[0]).has_value();
        return line + (number ? "begins with a number where an element is expected"
                              : "begins with a label of no element");
      }
      const bool orbital = tokens.size() == 5 && !float_value(tokens[1]);
      for (std::size_t k = orbital ? 2 : 1; k < (orbital ? 5U : 4U); ++k) {
        if (float_value(tokens[k])) continue;
        const bool comma = tokens[k].find(',') != std::string_view::npos;
        return line + "has " + shown(tokens[k]) + " for a coordinate" +
               (comma ? ": numbers are written with a point" : "");
      }
    }
  }
  return {};
}

std::string problem_of_file(const Subject& subject, std::string_view warning) {
  const IngestedStructure& record = subject.record;
  if (record.format == "unknown") return {};
  if (warning.starts_with("Parsing ")) return {};  // ASE is missing: this is no fault of the file
  if (!subject.head.readable) return {};
  std::string kind = kind_of(subject.head.bytes);
  if (!kind.empty()) return kind;
  constexpr std::string_view FROM_ASE = "ASE could not parse the file: ";
  const std::string_view message =
      warning.starts_with(FROM_ASE) ? warning.substr(FROM_ASE.size()) : std::string_view();
  if (subject.cif) return problem_of_cif(*subject.cif, message);
  if (subject.poscar) return problem_of_poscar(*subject.poscar, subject.file_name);
  return problem_of_xyz(subject.head.bytes, warning);
}

}  // namespace

std::vector<Seen> see_not_read(const Subject& subject) {
  if (subject.record.ok) return {};
  const std::vector<std::string>& warnings = subject.record.warnings;
  const std::string warning = warnings.empty() ? "" : utf8_text(warnings.back());
  const std::string why = problem_of_file(subject, warning);
  if (!why.empty()) return {{"The file gave no structure: " + why + "."}};
  std::string_view said = stripped(warning);
  while (said.ends_with('.') || said.ends_with(':')) said.remove_suffix(1);
  if (said.empty()) said = "its reader does not say why";
  return {{"The file gave no structure: " + std::string(said) + "."}};
}

std::vector<Seen> see_reader_warning(const Subject& subject) {
  constexpr std::size_t MOST = 20;
  constexpr std::size_t MOST_BYTES_OF_WARNING = 500;
  std::vector<Seen> seen;
  std::vector<std::string> known;
  for (const std::string& warning : subject.reader_warnings) {
    std::string_view said = stripped(std::string_view(warning).substr(0, MOST_BYTES_OF_WARNING));
    while (said.ends_with('.')) said.remove_suffix(1);
    const std::string text = utf8_text(said);
    if (text.empty() || std::find(known.begin(), known.end(), text) != known.end()) continue;
    if (seen.size() == MOST) break;
    known.push_back(text);
    seen.push_back({"ASE warned: " + text + "."});
  }
  return seen;
}

}  // namespace structure_ingest::internal
