// The finding on labels that mean another element than the one the reader chose.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/input.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/elements.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/record/vectors.hpp"

namespace structure_ingest::internal {
namespace {

/// Limits the distances that are measured: atoms of one species, each against all others.
constexpr std::size_t MOST_MEASURED = 16;
constexpr std::size_t MOST_LABEL_DISTANCES = 20000;
/// A distance below TOO_CLOSE_SHARE of the sum of covalent radii contradicts the element that was
/// read; between the other two shares it is a bond of the element of the first letter.
constexpr double TOO_CLOSE_SHARE = 0.75;
constexpr double LEAST_BOND_SHARE = 0.8;
constexpr double MOST_BOND_SHARE = 1.3;

/// Whether a label read as this symbol may be a site name that begins with the element's letter: CA
/// is carbon alpha in files of biomolecules.
bool may_be_a_site_name(const std::string& symbol) {
  return symbol.size() == 2 && std::string_view("HCNOPS").find(symbol[0]) != std::string_view::npos;
}

/// Whether the distance to the nearest atom fits the element of the first letter and not the one
/// that was read.
bool is_bonded_as_first_letter(const IngestedStructure& record, std::size_t atom) {
  const Vector3& place = record.positions_ang[atom];
  double nearest = std::numeric_limits<double>::infinity();
  std::size_t neighbour = atom;
  for (std::size_t i = 0; i < record.symbols.size(); ++i) {
    const Vector3 apart = plus(place, record.positions_ang[i], -1);
    const double square = dot(apart, apart);
    if (i == atom || square >= nearest) continue;
    nearest = square;
    neighbour = i;
  }
  if (neighbour == atom) return false;
  const double distance = std::sqrt(nearest);
  const auto share = [&](std::string_view symbol) {
    return distance / static_cast<double>(covalent_radius_ang(symbol) +
                                          covalent_radius_ang(record.symbols[neighbour]));
  };
  const double as_first = share(std::string_view(record.symbols[atom]).substr(0, 1));
  return share(record.symbols[atom]) < TOO_CLOSE_SHARE && as_first > LEAST_BOND_SHARE &&
         as_first < MOST_BOND_SHARE;
}

/// Whether two letters follow the symbol directly: "Carbon" for Ca.
bool is_word(std::string_view label, std::string_view symbol) {
  return label.size() >= symbol.size() + 2 && is_letter(label[symbol.size()]) &&
         is_letter(label[symbol.size() + 1]);
}

/// For each species, one atom whose distances fit the element of its first letter.
std::vector<std::size_t> atoms_like_first_letter(const IngestedStructure& record) {
  std::vector<std::size_t> atoms;
  const std::size_t most =
      std::clamp(MOST_LABEL_DISTANCES / record.symbols.size(), std::size_t{1}, MOST_MEASURED);
  for (const std::string& symbol : record.species) {
    if (!may_be_a_site_name(symbol)) continue;
    std::size_t measured = 0;
    for (std::size_t i = 0; i < record.symbols.size() && measured < most; ++i) {
      if (record.symbols[i] != symbol) continue;
      ++measured;
      if (!is_bonded_as_first_letter(record, i)) continue;
      atoms.push_back(i);
      break;
    }
  }
  std::sort(atoms.begin(), atoms.end());
  return atoms;
}

}  // namespace

Observation label_observation(const std::vector<std::string>& texts, std::vector<std::size_t> atoms,
                              Severity severity) {
  if (texts.empty()) return {};
  return {"label_reinterpreted",
          "Labels were read as elements that they probably do not mean: " + listed(texts, 6) + ".",
          std::move(atoms), severity};
}

Observation labels_of_xyz(const CheckInput& input) {
  const IngestedStructure& record = input.record;
  std::vector<std::string> texts;
  std::vector<std::size_t> atoms;
  const auto add = [&](std::size_t atom, std::string_view label) {
    const std::string text = excerpt(label) + " as " + record.symbols[atom];
    if (std::find(texts.begin(), texts.end(), text) != texts.end()) return;
    texts.push_back(text);
    atoms.push_back(atom);
  };
  for (std::size_t i = 0; i < input.xyz->first_atoms.size(); ++i) {
    std::string_view rest = input.xyz->first_atoms[i];
    const std::string_view label = next_token(rest);
    if (i < record.symbols.size() && is_word(label, record.symbols[i])) add(i, label);
  }
  // A file that writes Si, capital and small, would not write CA for carbon.
  const bool has_small_letters = std::any_of(
      input.xyz->first_atoms.begin(), input.xyz->first_atoms.end(), [](std::string_view line) {
        const std::string_view label = next_token(line);
        return label.size() > 1 && is_small_letter(label[1]);
      });
  if (input.finite && !has_small_letters) {
    const std::vector<std::size_t> placed = atoms_like_first_letter(record);
    for (const auto& [atom, label] : input.xyz->capital_labels) {
      if (std::binary_search(placed.begin(), placed.end(), atom)) add(atom, label);
    }
  }
  return label_observation(texts, std::move(atoms), Severity::warning);
}

}  // namespace structure_ingest::internal
