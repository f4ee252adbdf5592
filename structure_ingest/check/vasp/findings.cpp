// Findings on VASP files: content that ASE reads differently from VASP, or ignores.
#include <algorithm>
#include <array>
#include <cmath>

#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/rules.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

const PoscarFile* poscar_of(const CheckInput& input) {
  return input.record.ok && input.poscar ? &*input.poscar : nullptr;
}

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
      label == symbol || (label.starts_with(symbol) && label.size() > symbol.size() &&
                          label[symbol.size()] >= '0' && label[symbol.size()] <= '9');
  return flag || symbol.empty() || !plain ? std::string() : symbol;
}

}  // namespace

std::vector<Observation> find_negative_scale(const CheckInput& input) {
  const PoscarFile* const file = poscar_of(input);
  if (file == nullptr || file->scales.size() == 3 || file->scales.empty()) return {};
  const double scale = file->scales[0];
  if (!(scale < 0)) return {};
  const double volume = std::abs(scale * scale * scale) * volume_of(file->vectors);
  return {{"The scale factor " + number_text(scale) + " means a cell volume of " +
           volume_text(-scale) + ", but was taken as a multiplier: the record's cell has " +
           volume_text(volume) + " and is turned inside out."}};
}

std::vector<Observation> find_three_scales(const CheckInput& input) {
  const PoscarFile* const file = poscar_of(input);
  if (file == nullptr || file->scales.size() != 3) return {};
  const auto& scales = file->scales;
  if (scales[0] == scales[1] && scales[0] == scales[2]) return {};
  const double own = volume_of(file->vectors);
  return {{"The file has three scale factors, " + number_text(scales[0]) + ", " +
           number_text(scales[1]) + " and " + number_text(scales[2]) + ", which mean a volume of " +
           volume_text(std::abs(scales[0] * scales[1] * scales[2]) * own) +
           "; only the first was used, which gives " +
           volume_text(std::abs(scales[0] * scales[0] * scales[0]) * own) + "."}};
}

std::vector<Observation> find_coordinate_mode_unclear(const CheckInput& input) {
  const PoscarFile* const file = poscar_of(input);
  if (file == nullptr || file->mode_line == 0) return {};
  const std::string_view word = stripped(file->mode);
  const char first = file->mode.empty() ? ' ' : file->mode.front();
  const char letter = word.empty() ? ' ' : word.front();
  const auto is_one_of = [](char c, std::string_view letters) {
    return letters.find(c) != std::string_view::npos;
  };
  if (is_one_of(first, "cCkKdD")) return {};
  const std::string line = "Line " + std::to_string(file->mode_line) + ", " + shown(file->mode);
  if (is_one_of(letter, "cCkK")) {
    return {{line +
                 ", begins with a blank, so that the coordinates were taken as direct and not as "
                 "Cartesian.",
             {},
             Severity::error}};
  }
  if (letter == 'd' || letter == 'D') return {};
  return {{line + ", is to say direct or Cartesian; the coordinates were taken as direct.",
           {},
           Severity::warning}};
}

std::vector<Observation> find_species_counts_differ(const CheckInput& input) {
  const PoscarFile* const file = poscar_of(input);
  if (file == nullptr || file->symbols.empty() || file->symbols.size() == file->counts.size()) {
    return {};
  }
  return {{"Line 6 names " + std::to_string(file->symbols.size()) +
           " species and line 7 counts the "
           "atoms of " +
           std::to_string(file->counts.size()) + "; the record has " + input.record.formula + "."}};
}

std::vector<Observation> find_site_labels_disagree(const CheckInput& input) {
  const PoscarFile* const file = poscar_of(input);
  if (file == nullptr) return {};
  std::vector<std::size_t> atoms;
  std::size_t count = 0;
  std::string first;
  for (std::size_t i = 0; i < file->atoms.size() && i < input.record.symbols.size(); ++i) {
    const std::string label = label_of(file->atoms[i], file->selective);
    if (label.empty() || label == input.record.symbols[i]) continue;
    if (count++ == 0) {
      first = "atom " + std::to_string(i) + " is " + label + " in its own line and " +
              input.record.symbols[i] + " in the record";
    }
    if (atoms.size() < MOST_ATOMS_NAMED) atoms.push_back(i);
  }
  if (count == 0) return {};
  return {{"The labels behind the coordinates name other elements than the record for " +
               counted(count, "atom") + ": " + first + ".",
           atoms}};
}

std::vector<Observation> find_constraints_dropped(const CheckInput& input) {
  const PoscarFile* const file = poscar_of(input);
  if (file == nullptr || !file->selective) return {};
  const auto fixed =
      std::count_if(file->atoms.begin(), file->atoms.end(), [](std::string_view line) {
        const std::vector<std::string_view> tokens = tokens_of(line, 6);
        return std::any_of(
            tokens.begin() + std::min<std::ptrdiff_t>(3, std::ssize(tokens)), tokens.end(),
            [](auto flag) { return flag.starts_with('F') || flag.starts_with('f'); });
      });
  if (fixed == 0) return {};
  return {{"The file fixes " + counted(static_cast<std::size_t>(fixed), "atom") + " of " +
           std::to_string(file->natoms) +
           " (selective dynamics), which the record does not hold."}};
}

std::vector<Observation> find_velocities_dropped(const CheckInput& input) {
  const PoscarFile* const file = poscar_of(input);
  if (file == nullptr || !file->velocities) return {};
  return {{"The file gives velocities, which the record does not hold."}};
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

}  // namespace structure_ingest::internal
