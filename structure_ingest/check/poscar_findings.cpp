// Findings on VASP files: content that ASE reads differently from VASP, or ignores.
#include <algorithm>
#include <array>
#include <cmath>

#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/rules.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace structure_ingest::internal {
namespace {

const PoscarFile* poscar_of(const Subject& subject) {
  return subject.record.ok && subject.poscar ? &*subject.poscar : nullptr;
}

double volume_of(const std::array<Vector3, 3>& v) {
  return std::abs(v[0][0] * (v[1][1] * v[2][2] - v[1][2] * v[2][1]) +
                  v[0][1] * (v[1][2] * v[2][0] - v[1][0] * v[2][2]) +
                  v[0][2] * (v[1][0] * v[2][1] - v[1][1] * v[2][0]));
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

std::vector<Seen> see_negative_scale(const Subject& subject) {
  const PoscarFile* const file = poscar_of(subject);
  if (file == nullptr || file->scales.size() == 3 || file->scales.empty()) return {};
  const double scale = file->scales[0];
  if (!(scale < 0)) return {};
  const double volume = std::abs(scale * scale * scale) * volume_of(file->vectors);
  return {{"The scale factor " + number_text(scale) + " means a cell volume of " +
           volume_text(-scale) + ", but was taken as a multiplier: the record's cell has " +
           volume_text(volume) + " and is turned inside out."}};
}

std::vector<Seen> see_three_scales(const Subject& subject) {
  const PoscarFile* const file = poscar_of(subject);
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

std::vector<Seen> see_coordinate_mode_unclear(const Subject& subject) {
  const PoscarFile* const file = poscar_of(subject);
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

std::vector<Seen> see_species_counts_differ(const Subject& subject) {
  const PoscarFile* const file = poscar_of(subject);
  if (file == nullptr || file->symbols.empty() || file->symbols.size() == file->counts.size()) {
    return {};
  }
  return {{"Line 6 names " + std::to_string(file->symbols.size()) +
           " species and line 7 counts the "
           "atoms of " +
           std::to_string(file->counts.size()) + "; the record has " + subject.record.formula +
           "."}};
}

std::vector<Seen> see_site_labels_disagree(const Subject& subject) {
  const PoscarFile* const file = poscar_of(subject);
  if (file == nullptr) return {};
  std::vector<std::size_t> atoms;
  std::size_t count = 0;
  std::string first;
  for (std::size_t i = 0; i < file->atoms.size() && i < subject.record.symbols.size(); ++i) {
    const std::string label = label_of(file->atoms[i], file->selective);
    if (label.empty() || label == subject.record.symbols[i]) continue;
    if (count++ == 0) {
      first = "atom " + std::to_string(i) + " is " + label + " in its own line and " +
              subject.record.symbols[i] + " in the record";
    }
    if (atoms.size() < MOST_ATOMS_NAMED) atoms.push_back(i);
  }
  if (count == 0) return {};
  return {{"The labels behind the coordinates name other elements than the record for " +
               counted(count, "atom") + ": " + first + ".",
           atoms}};
}

std::vector<Seen> see_constraints_dropped(const Subject& subject) {
  const PoscarFile* const file = poscar_of(subject);
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

std::vector<Seen> see_velocities_dropped(const Subject& subject) {
  const PoscarFile* const file = poscar_of(subject);
  if (file == nullptr || !file->velocities) return {};
  return {{"The file gives velocities, which the record does not hold."}};
}

}  // namespace structure_ingest::internal
