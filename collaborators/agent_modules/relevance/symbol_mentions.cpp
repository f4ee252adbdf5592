#include "collaborators/agent_modules/relevance/symbol_mentions.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "collaborators/agent_modules/relevance/plain_letters.hpp"

namespace agent_modules {
namespace {

using enum WordKind;

void add_formula(RequestReading& reading, std::size_t i, Elements elements, bool certain) {
  const Sort sort = reading.word(i).has_plane ? Sort::solid : sort_of(elements);
  reading.add(
      {.first = i, .last = i, .elements = std::move(elements), .certain = certain, .sort = sort});
}

// --- one symbol: an element, a word or a label ---

bool is_verb(std::string_view word) {
  return word.ends_with("s") || word.ends_with("ed");
}

/// In, As, I, ... where they are English words.
bool is_ordinary_word(const RequestReading& reading, std::size_t i) {
  const RequestWord& word = reading.word(i);
  const RequestWord& next = reading.word(i + 1);
  if (!is_kind(word.text, word_like_symbol) || word.has_plane) return false;
  if (word.after == ':' || word.after == '\'') return true;
  if (next.text.empty()) return word.text == "I";
  if (reading.is(i + 1, after_word_in)) return true;
  if (reading.is(i + 1, matter) || next.before == '/') return false;
  if (next.is_number && word.text != "I") return true;
  if (word.text == "I" || (word.text == "He" && is_verb(next.lower)))
    return is_lower(next.text[0]) && next.before == ' ' && !reading.is(i + 1, link);
  return word.text == "No" || (word.starts_sentence && (word.text == "At" || word.text == "Am"));
}

/// "P 21/c", "C2/m", "P-1": the letter of a lattice and what only a symmetry has after it.
bool is_space_group(const RequestReading& reading, std::size_t i) {
  const std::string& text = reading.word(i).text;
  const RequestWord& next = reading.word(i + 1);
  const bool slash = next.before == '/' && has_digit(text);
  return is_one_of(text[0], "PICFRAB") && (slash || (next.before == '-' && next.is_number)) &&
         next.text.find_first_not_of("123456manbcd") == std::string::npos;
}

/// "Fm-3m", "Pa-3".
bool is_two_letter_space_group(const RequestReading& reading, std::size_t i) {
  const RequestWord& next = reading.word(i + 1);
  return is_kind(reading.word(i).text, two_letter_lattice) && is_one_of(next.before, "-/") &&
         next.is_number;
}

/// "Gamma-X|K": whether a point of the Brillouin zone is among the words joined to word i.
bool is_on_path(const RequestReading& reading, std::size_t i) {
  constexpr std::size_t LONGEST_PATH = 16;
  const auto joins = [&](std::size_t k) { return is_one_of(reading.word(k).before, "-|/"); };
  std::size_t first = i;
  std::size_t last = i;
  while (first > 0 && i - first < LONGEST_PATH && joins(first)) --first;
  while (last - i < LONGEST_PATH && joins(last + 1)) ++last;
  for (std::size_t k = first; k <= last; ++k)
    if (is_kind(reading.word(k).text, path_point) || reading.lower(k) == "gamma") return true;
  return false;
}

/// A single letter, or one with a number, that labels something: a point, a unit, a variable.
bool is_label(const RequestReading& reading, std::size_t i) {
  const RequestWord& word = reading.word(i);
  if (reading.is(i, jargon) && word.text.size() > 1) return true;
  if (word.after == '=' || is_one_of(word.before, "=+")) return true;
  if (reading.is(i + 1, matter)) return false;
  const bool unit =
      reading.word(i - 1).is_number && word.before == ' ' && is_one_of(word.text[0], "KVCFNWHSU");
  return unit || reading.is(i + 1, label_after) || reading.is(i - 1, label_before) ||
         is_space_group(reading, i) || is_on_path(reading, i);
}

/// Ag, Au, ... that name the symmetry of a mode, a few words on.
bool is_symmetry_of_mode(const RequestReading& reading, std::size_t i) {
  bool mode = false;
  for (std::size_t k = i + 1; k <= i + 4; ++k) mode |= reading.is(k, irrep_after);
  return mode && is_kind(reading.word(i).text, symbol_of_mode);
}

void read_one_symbol(RequestReading& reading, std::size_t i, const ChemicalFormula& formula) {
  const RequestWord& word = reading.word(i);
  const bool crystalline = reading.is(i - 1, before_symbol);
  bool certain = false;
  if (is_kind(word.text, element_molecule) && word.after != '=') {
    if (is_space_group(reading, i)) return;
    certain = !reading.is(i + 1, label_after);
  } else if (formula.has_long_symbol) {
    if (is_ordinary_word(reading, i) || is_two_letter_space_group(reading, i)) return;
    const bool author = reading.lower(i + 1) == "et" || reading.lower(i + 2) == "et";
    const bool safe = !is_kind(word.text, unsafe_symbol) || formula.counted || word.has_plane ||
                      crystalline || reading.is(i + 1, matter);
    certain = safe && !author && !is_symmetry_of_mode(reading, i);
  } else if (word.has_plane) {
    certain = true;
  } else {
    if (is_label(reading, i) || is_ordinary_word(reading, i)) return;
    certain = !formula.counted && (word.has_state || crystalline || reading.is(i + 1, single_atom));
  }
  add_formula(reading, i, formula.elements, certain);
}

// --- several symbols, and words that may be some ---

/// Capitals without counts: CO, SCF, BN.
void read_capitals(RequestReading& reading, std::size_t i, const ChemicalFormula& formula) {
  const RequestWord& word = reading.word(i);
  const bool known = is_kind(word.text, capital_formula) || word.has_plane;
  if (!known && reading.is(i, jargon)) return;
  const bool is_short = word.text.size() == 2;
  add_formula(reading, i, formula.elements, known || (is_short && reading.is(i + 1, matter)));
  if (!known && !is_short) reading.leave_open(i);
}

/// "PTCDI", "ABO3", "CuPc".
bool is_unknown_abbreviation(std::string_view text) {
  constexpr std::size_t SHORTEST = 3;
  constexpr std::size_t LONGEST = 10;
  if (text.size() < SHORTEST || text.size() > LONGEST || !is_upper(text[0])) return false;
  const auto count = [&](auto is) { return std::count_if(text.begin(), text.end(), is); };
  const auto upper = count(is_upper);
  const auto others = count(is_lower) + count(is_digit);
  return upper + others == std::ssize(text) && upper >= (others > 0 ? 2 : 3);
}

/// A word that ends like a chemical's name, or an abbreviation, that no table knows.
bool sounds_chemical(const RequestReading& reading, std::size_t i) {
  const std::string_view text = reading.word(i).text;
  const std::string_view word = reading.lower(i);
  const std::size_t singular = text.size() - text.ends_with('s');
  if (reading.is(i, jargon, not_a_material) || is_kind(word.substr(0, singular), jargon))
    return false;
  constexpr std::size_t SHORTEST_NAME = 5;
  constexpr std::size_t LONGEST_ENDING = 5;
  if (word.size() >= SHORTEST_NAME && std::all_of(word.begin(), word.end(), is_lower))
    for (std::size_t length = 2; length <= LONGEST_ENDING; ++length)
      if (is_kind(word.substr(word.size() - length), chemical_ending)) return true;
  return !reading.capitals && is_unknown_abbreviation(text.substr(0, singular));
}

/// What is no formula as it is written.
void read_any_case(RequestReading& reading, std::size_t i) {
  const RequestWord& word = reading.word(i);
  const auto add = [&](bool certain) {
    add_formula(reading, i, elements_in_any_case(word.lower), certain);
  };
  const bool is_jargon = reading.is(i, jargon);
  const bool ligand = word.before == '(' && reading.mention(i - 1) != nullptr &&
                      word.text.size() > 1 && is_upper(word.text[0]);
  if (ligand && !is_jargon) reading.leave_open(i);
  if (is_formula_in_lower_case(word.lower)) return add(true);
  const bool symbol = reading.is(i, lower_case_symbol) && reading.lower(i - 1) != "et" &&
                      !reading.word(i - 1).is_number;
  const bool before_matter = reading.capitals && reading.is(i + 1, matter);
  if (symbol || word.has_plane)
    return add(!is_jargon &&
               (word.has_plane || before_matter || reading.is(i - 1, before_lower_case)));
  if (is_jargon) return;
  if (sounds_chemical(reading, i)) reading.leave_open(i);
  constexpr std::size_t LONGEST_ABBREVIATION = 3;
  if (word.text.size() > 2 && has_digit(word.text)) return add(false);
  if (reading.capitals && word.text.size() <= LONGEST_ABBREVIATION &&
      !reading.is(i, after_word_in, link, short_negation, owner))
    add(before_matter);
}

}  // namespace

bool is_formula_in_lower_case(std::string_view text) {
  if (is_well_known_formula(text)) return true;
  if (is_kind(text, jargon) || elements_in_any_case(text).size() < 2) return false;
  int counts = 0;
  for (std::size_t i = 1; i < text.size(); ++i)
    counts += is_digit(text[i]) && !is_digit(text[i - 1]);
  constexpr std::size_t SHORTEST_WITH_COUNTS = 5;  // fe2o3
  if (counts >= 2 && text.size() >= SHORTEST_WITH_COUNTS) return true;
  constexpr std::size_t SHORTEST_OXIDE = 4;  // tio2
  return text.size() >= SHORTEST_OXIDE && is_digit(text.back()) && text.back() > '1' &&
         text[text.size() - 2] == 'o';
}

void read_symbols(RequestReading& reading, std::size_t i) {
  const RequestWord& word = reading.word(i);
  if (word.is_number) return;
  const std::optional<ChemicalFormula> formula =
      reading.capitals ? std::nullopt : read_formula(word.text);
  if (!formula) {
    read_any_case(reading, i);
  } else if (formula->symbols == 1) {
    read_one_symbol(reading, i, *formula);
  } else if (formula->has_long_symbol || formula->counted) {
    const bool certain = formula->has_long_symbol || !reading.is(i, jargon);
    add_formula(reading, i, formula->elements, certain && word.text != "NaN");
  } else {
    read_capitals(reading, i, *formula);
  }
}

}  // namespace agent_modules
