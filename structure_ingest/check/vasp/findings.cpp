// Findings on VASP files: content that ASE reads differently from VASP, or ignores, and why a file
// gave no structure.
#include <algorithm>
#include <array>
#include <cmath>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/input.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

double volume_of(const std::array<Vector3, 3>& v) {
  return std::abs(dot(v[0], cross(v[1], v[2])));
}

std::string volume_text(double volume) {
  return number_text(volume) + " \u00C5\u00B3";
}

/// The label after the coordinates (and flags) of an atom line, if it is a plain symbol.
std::string label_of(std::string_view line, bool selective) {
  const std::vector<std::string_view> tokens = tokens_of(line, 8);
  const std::size_t place = selective ? 6 : 3;
  if (tokens.size() <= place) return {};
  const std::string_view label = tokens[place];
  const bool flag = label == "T" || label == "F";
  const std::string symbol = canonical_symbol(label);
  const bool plain =
      label == symbol ||
      (label.starts_with(symbol) && label.size() > symbol.size() && is_digit(label[symbol.size()]));
  return flag || symbol.empty() || !plain ? std::string() : symbol;
}

std::string negative_scale(const PoscarFile& file) {
  if (file.scales.empty() || file.scales.size() == 3 || !(file.scales[0] < 0)) return {};
  const double scale = file.scales[0];
  const double volume = std::abs(scale * scale * scale) * volume_of(file.vectors);
  return "The scale factor " + number_text(scale) + " means a cell volume of " +
         volume_text(-scale) + ", but was taken as a multiplier: the record's cell has " +
         volume_text(volume) + " and is turned inside out.";
}

std::string three_scales(const PoscarFile& file) {
  const std::vector<double>& scales = file.scales;
  if (scales.size() != 3 || (scales[0] == scales[1] && scales[0] == scales[2])) return {};
  const double own = volume_of(file.vectors);
  return "The file has three scale factors, " + number_text(scales[0]) + ", " +
         number_text(scales[1]) + " and " + number_text(scales[2]) + ", which mean a volume of " +
         volume_text(std::abs(scales[0] * scales[1] * scales[2]) * own) +
         "; only the first was used, which gives " +
         volume_text(std::abs(scales[0] * scales[0] * scales[0]) * own) + ".";
}

Observation coordinate_mode_unclear(const PoscarFile& file) {
  const std::string_view word = stripped(file.mode);
  if (file.mode_line == 0 || begins_with(file.mode, "cCkKdD") || begins_with(word, "dD")) return {};
  const std::string line = "Line " + std::to_string(file.mode_line) + ", " + excerpt(file.mode);
  if (begins_with(word, "cCkK")) {
    return {"coordinate_mode_unclear",
            line +
                ", begins with a blank, so that the coordinates were taken as direct and not as "
                "Cartesian.",
            {},
            Severity::error};
  }
  return {"coordinate_mode_unclear",
          line + ", is to say direct or Cartesian; the coordinates were taken as direct.",
          {},
          Severity::warning};
}

std::string species_counts_differ(const CheckInput& input) {
  const PoscarFile& file = *input.poscar;
  if (file.symbols.empty() || file.symbols.size() == file.counts.size()) return {};
  return "Line 6 names " + std::to_string(file.symbols.size()) +
         " species and line 7 counts the atoms of " + std::to_string(file.counts.size()) +
         "; the record has " + input.record.formula + ".";
}

Observation site_labels_disagree(const CheckInput& input) {
  const PoscarFile& file = *input.poscar;
  std::vector<std::size_t> atoms;
  std::size_t count = 0;
  std::string first;
  for (std::size_t i = 0; i < file.atoms.size() && i < input.record.symbols.size(); ++i) {
    const std::string label = label_of(file.atoms[i], file.selective);
    if (label.empty() || label == input.record.symbols[i]) continue;
    if (count++ == 0) {
      first = "atom " + std::to_string(i) + " is " + label + " in its own line and " +
              input.record.symbols[i] + " in the record";
    }
    if (atoms.size() < MOST_ATOMS_NAMED) atoms.push_back(i);
  }
  if (count == 0) return {};
  return {"site_labels_disagree",
          "The labels behind the coordinates name other elements than the record for " +
              counted(count, "atom") + ": " + first + ".",
          std::move(atoms)};
}

std::string constraints_dropped(const PoscarFile& file) {
  if (!file.selective) return {};
  const auto is_fixed = [](std::string_view line) {
    std::vector<std::string_view> flags = tokens_of(line, 6);
    flags.erase(flags.begin(), flags.begin() + std::min<std::ptrdiff_t>(3, std::ssize(flags)));
    return std::any_of(flags.begin(), flags.end(),
                       [](std::string_view flag) { return begins_with(flag, "Ff"); });
  };
  const auto fixed = std::count_if(file.atoms.begin(), file.atoms.end(), is_fixed);
  if (fixed == 0) return {};
  return "The file fixes " + counted(static_cast<std::size_t>(fixed), "atom") + " of " +
         std::to_string(file.natoms) + " (selective dynamics), which the record does not hold.";
}

std::string trailing_content(const PoscarFile& file) {
  if (file.more_atoms == 0) return {};
  return counted(file.more_atoms, "line") + " of three numbers directly behind the " +
         counted(file.natoms, "atom") + " that the file counts were not read.";
}

// Without a line of symbols, ASE takes the elements from the words of the title, or from a POTCAR
// or OUTCAR beside the file when the title has too few.

/// Words in capitals that ASE would read as formulas of one-letter elements.
constexpr std::array<std::string_view, 13> NOT_FORMULAS = {
    "SCF", "NSCF", "COHP", "CIF", "FCC", "BCC", "HCP", "SC", "POS", "PBC", "ION", "IONS", "UC"};

/// The elements of a word such as "SiO2" or "Cu,"; nothing when it is not a formula.
std::vector<std::string> formula_elements(std::string_view word) {
  std::string letters;
  for (const char c : word) {
    if (std::string_view("-_,.=0123456789()").find(c) == std::string_view::npos) letters += c;
  }
  if (std::find(NOT_FORMULAS.begin(), NOT_FORMULAS.end(), letters) != NOT_FORMULAS.end()) return {};
  std::vector<std::string> elements;
  for (std::string_view rest = letters; !rest.empty();) {
    const std::string_view symbol = leading_symbol(rest);
    if (symbol.empty() || canonical_symbol(symbol) != symbol) return {};
    elements.emplace_back(symbol);
    rest.remove_prefix(symbol.size());
  }
  return elements;
}

struct Title {
  std::vector<std::string> elements;  // of the leading words that are formulas
  bool only_formulas = true;
};

Title title_of(std::string_view line) {
  Title title;
  for (const std::string_view word : tokens_of(line, 200)) {
    const bool digits = word.find_first_not_of("-_,.=0123456789()") == std::string_view::npos;
    if (digits) continue;
    const std::vector<std::string> elements = formula_elements(word);
    if (elements.empty()) {
      title.only_formulas = false;
      continue;
    }
    if (!title.only_formulas) continue;  // words after prose are prose
    title.elements.insert(title.elements.end(), elements.begin(), elements.end());
  }
  return title;
}

/// The elements of the POTCAR beside the file, from its lines with TITEL as in ASE.
std::vector<std::string> potcar_elements(const std::string& path) {
  std::vector<std::string> elements;
  const std::string potcar = join_path(parent_folder(path), "POTCAR");
  if (!is_regular_file(potcar)) return elements;
  const std::string head = beginning_of(potcar, FileContent::MOST_BYTES);
  for (std::size_t at = head.find("TITEL"); at != std::string::npos && elements.size() < 1000;
       at = head.find("TITEL", at + 1)) {
    const std::string_view line = std::string_view(head).substr(at, head.find('\n', at) - at);
    // For example "TITEL  = PAW_PBE Si_pv 05Jan2001".
    const std::vector<std::string_view> tokens = tokens_of(line, 4);
    if (tokens.size() < 4) continue;
    elements.emplace_back(tokens[3].substr(0, tokens[3].find_first_of("_.")));
  }
  return elements;
}

bool agree(const std::vector<std::string>& taken, const std::vector<std::string>& others) {
  if (others.size() < taken.size()) return false;
  for (std::size_t i = 0; i < taken.size(); ++i) {
    if (!taken[i].empty() && taken[i] != others[i]) return false;
  }
  return true;
}

Observation elements_from_title(const CheckInput& input) {
  if (!input.poscar->symbols.empty()) return {};
  std::vector<std::string> taken;  // for each species; empty for one without atoms
  std::size_t atom = 0;
  for (const std::size_t count : input.poscar->counts) {
    const bool has_atoms = atom < input.record.symbols.size() && count > 0;
    taken.push_back(has_atoms ? input.record.symbols[atom] : "");
    atom += count;
  }
  const std::vector<std::string> potcar = potcar_elements(input.record.source_path);
  const Title title = title_of(input.poscar->title);
  const std::string text = "The file names no elements; " + listed(taken, 8);
  if (!potcar.empty() && potcar.size() == taken.size() && agree(taken, potcar)) {
    return {"elements_from_title",
            text + " were taken, which is what the POTCAR beside it says.",
            {},
            Severity::note};
  }
  const std::string beside =
      potcar.empty() ? "" : ", and the POTCAR beside it says " + listed(potcar, 8);
  const bool is_sure = potcar.empty() && agree(taken, title.elements);
  // With more symbols in the title than species, it is not known which of them are meant.
  const bool is_ambiguous = title.only_formulas && title.elements.size() != taken.size();
  return {"elements_from_title",
          text + " were taken from its title " + excerpt(input.poscar->title) + beside + ".",
          {},
          is_sure && !is_ambiguous ? Severity::warning : Severity::error};
}

}  // namespace

std::vector<Observation> check_poscar(const CheckInput& input) {
  if (!input.record.ok || !input.poscar) return {};
  const PoscarFile& file = *input.poscar;
  return {{"negative_scale", negative_scale(file)},
          {"three_scales", three_scales(file)},
          coordinate_mode_unclear(file),
          {"species_counts_differ", species_counts_differ(input)},
          site_labels_disagree(input),
          {"constraints_dropped", constraints_dropped(file)},
          {"velocities_dropped",
           file.velocities ? "The file gives velocities, which the record does not hold." : ""},
          {"trailing_content", trailing_content(file)},
          elements_from_title(input)};
}

std::string problem_of_poscar(const PoscarFile& file, std::string_view name) {
  if (!file.problem.empty()) return file.problem;
  for (const std::string_view symbol : file.symbols) {
    if (canonical_symbol(symbol) == symbol) continue;
    return "line 6 names " + excerpt(symbol) + ", which is no element";
  }
  if (!file.symbols.empty() && file.symbols.size() < file.counts.size()) {
    return "line 6 names " + counted(file.symbols.size(), "element") +
           " and line 7 counts the atoms of " + std::to_string(file.counts.size());
  }
  if (file.symbols.empty()) {
    return "it has no line of element symbols before the counts of line 6, its title " +
           excerpt(file.title) + " does not name them, and no POTCAR beside it does";
  }
  if (file.natoms == 0) return "it counts no atoms";
  const bool known = name.find("POSCAR") != std::string_view::npos ||
                     name.find("CONTCAR") != std::string_view::npos ||
                     ascii_lower_cased(name).ends_with(".poscar") ||
                     ascii_lower_cased(name).ends_with(".vasp");
  if (!known) return "ASE knows POSCAR and CONTCAR in capital letters only: rename the file";
  const std::string_view mode = stripped(file.mode);
  if (!mode.empty() && (mode[0] == 's' || mode[0] == 'S')) {
    return "line " + std::to_string(file.mode_line) + ", " + excerpt(file.mode) +
           ", begins with a blank, so that selective dynamics was not seen";
  }
  return {};
}

}  // namespace structure_ingest::internal
