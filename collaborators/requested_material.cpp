#include "collaborators/requested_material.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <utility>

#include "collaborators/material_names.hpp"
#include "collaborators/plain_letters.hpp"
#include "collaborators/request_text.hpp"
#include "collaborators/request_words.hpp"
#include "structure_ingest/base/text.hpp"

namespace qelda_agent {
namespace {

using enum WordKind;

constexpr auto UNSAFE_SYMBOLS = std::to_array<std::string_view>({
    "In", "As", "At", "Be", "He", "Am", "Re", "Os", "No", "Pm", "Cm", "Fm", "Md",
    "Mt", "Es", "Ra", "Pa", "Ac", "Th", "Cs", "Tm", "Db", "Sg", "Bh", "Hs", "Ds",
    "Rg", "Cn", "Nh", "Fl", "Mc", "Lv", "Ts", "Og", "Ne", "Ho", "La", "Lu", "Er",
});
constexpr auto WORDS_LIKE_SYMBOLS =
    std::to_array<std::string_view>({"I", "In", "As", "At", "Be", "He", "Am", "No", "Re", "Os"});
constexpr auto SYMBOLS_OF_MODES = std::to_array<std::string_view>({"Ag", "Au", "Eu", "Cs", "Th"});
/// Recognised without their capital where a phrase such as "bulk si" makes them certain.
constexpr auto SAFE_LOWER_CASE = std::to_array<std::string_view>(
    {"si", "ge", "fe", "cu", "zn", "au", "pt", "pd", "ti", "mn", "ni", "cr", "ag", "zr", "nb",
     "ga", "ta", "hf", "ru", "rh", "ir", "pb", "mo", "li", "na", "ca", "sr", "ba", "al", "mg"});
constexpr auto CAPITAL_FORMULAS = std::to_array<std::string_view>(
    {"BN", "WC", "VN", "KF", "KOH", "HCN", "KCN", "KBF", "HCOOH", "HOOH", "HNO", "VC"});
constexpr auto ELEMENT_MOLECULES = std::to_array<std::string_view>(
    {"H2", "N2", "O2", "S8", "P4", "C60", "C70", "H2+", "O2-", "H+", "K+", "F-", "I-"});
constexpr auto PROPER_NAMES = std::to_array<std::string_view>(
    {"mercury", "diamond", "neon", "argon", "ruby", "helium", "amber", "cobalt"});
constexpr auto BEFORE_LOWER_CASE = std::to_array<std::string_view>(
    {"of", "for", "bulk", "fcc", "bcc", "hcp", "pure", "crystalline", "amorphous"});
constexpr auto PATH_POINTS = std::to_array<std::string_view>(
    {"gamma", "γ", "Γ", "G", "g", "L", "X", "M", "Z", "A", "R", "T", "Q"});
constexpr auto CHEMICAL_ENDINGS = std::to_array<std::string_view>(
    {"ite",  "ites", "ide", "ides", "ane",   "anes",  "ene",  "enes", "yne", "ynes", "ine",
     "ines", "ol",   "ols", "ose",  "onate", "ylate", "oate", "ium",  "one", "ones", "yl"});

bool is_among(const auto& list, std::string_view word) {
  return std::find(list.begin(), list.end(), word) != list.end();
}

struct Mention {
  std::size_t first = 0;  // words
  std::size_t last = 0;
  Elements elements = {};
  bool certain = false;
  bool vague = false;  // does not name the whole material: perovskite, oxide
  bool prototype = false;
  Sort sort = Sort::solid;
};

constexpr std::size_t NO_MENTION = static_cast<std::size_t>(-1);

/// Molecules are made of few elements, all of them far to the right.
Sort sort_of(const Elements& elements) {
  static const Elements molecular = {"H", "He", "C",  "N",  "O",  "F", "Ne", "P",
                                     "S", "Cl", "Ar", "Br", "Kr", "I", "Xe"};
  return std::includes(molecular.begin(), molecular.end(), elements.begin(), elements.end())
             ? Sort::molecule
             : Sort::solid;
}

/// Finds the mentions of one request, word by word, and what stands for unnamed materials.
class RequestReader {
 public:
  explicit RequestReader(std::string_view request)
      : words_(request_words(request)),
        capitals_(is_in_capitals(words_)),
        mention_at_(words_.size(), NO_MENTION),
        means_nothing_(words_.size(), false),
        negated_(words_.size(), false) {}

  RequestedMaterials read() {
    for (std::size_t i = 0; i < words_.size();) i = read_words_at(i);
    demote_structure_types();
    demote_by_clauses();
    find_unnamed_materials();
    find_unnamed_host();
    return summary();
  }

 private:
  // --- words around a place ---

  const std::string& lower(std::size_t i) const {
    static const std::string none;
    return i < words_.size() ? words_[i].lower : none;
  }

  const std::string& before(std::size_t i, std::size_t distance = 1) const {
    return lower(i >= distance ? i - distance : words_.size());
  }

  /// The words i to i + count - 1 as one phrase; empty where the request or a clause ends.
  std::string phrase(std::size_t i, std::size_t count) const {
    if (i + count > words_.size() || words_[i + count - 1].clause != words_[i].clause) return {};
    std::string joined = words_[i].lower;
    for (std::size_t k = 1; k < count; ++k) joined += " " + words_[i + k].lower;
    return joined;
  }

  /// How many words at i form a phrase of this kind, the longest first; 0 for none.
  std::size_t phrase_of_kind(std::size_t i, WordKind kind) const {
    for (std::size_t count = LONGEST_NAME_IN_WORDS; count > 0; --count) {
      const std::string words = phrase(i, count);
      if (!words.empty() && is_kind(words, kind)) return count;
    }
    return 0;
  }

  bool next_is(std::size_t i, WordKind kind) const {
    return i + 1 < words_.size() && is_kind(lower(i + 1), kind);
  }

  // --- mentions ---

  void add(Mention mention) {
    for (std::size_t i = mention.first; i <= mention.last; ++i) mention_at_[i] = mentions_.size();
    mentions_.push_back(std::move(mention));
  }

  /// Reads what begins at word i; returns the word after it.
  std::size_t read_words_at(std::size_t i) {
    if (words_[i].is_file) {
      read_file(i);
      return i + 1;
    }
    if (const std::size_t count = phrase_of_kind(i, idiom); count > 0) {
      std::fill_n(means_nothing_.begin() + static_cast<std::ptrdiff_t>(i), count, true);
      return i + count;
    }
    for (std::size_t count = LONGEST_NAME_IN_WORDS; count > 0; --count) {
      const std::string name = phrase(i, count);
      const NamedMaterial* const named = name.empty() ? nullptr : material_named(name);
      if (named == nullptr || (named->capitals && !has_capitals(i))) continue;
      read_name(i, count, *named);
      return i + count;
    }
    read_symbols(i);
    return i + 1;
  }

  bool has_capitals(std::size_t i) const {
    const std::string& text = words_[i].text;
    return std::count_if(text.begin(), text.end(), is_upper) >= 2;
  }

  void read_name(std::size_t i, std::size_t count, const NamedMaterial& named) {
    const std::size_t last = i + count - 1;
    const bool compound =
        i > 0 && mention_at_[i - 1] != NO_MENTION && words_[i].clause == words_[i - 1].clause;
    if (named.naming == Naming::anion && compound) {
      Mention& cation = mentions_[mention_at_[i - 1]];
      cation.elements.insert(named.elements.begin(), named.elements.end());
      cation.certain = true;
      cation.vague = false;
      cation.prototype = false;
      cation.sort = sort_of(cation.elements);
      cation.last = last;
      for (std::size_t k = i; k <= last; ++k) mention_at_[k] = mention_at_[i - 1];
      return;
    }
    Mention mention{.first = i, .last = last, .elements = named.elements};
    mention.certain = named.naming == Naming::certain || is_element_in_context(i);
    mention.vague = !mention.certain;
    mention.prototype = named.prototype;
    mention.sort = named.sort;
    if (is_in_proper_name(i, last) || next_is(last, ordinary_after)) mention.certain = false;
    add(std::move(mention));
  }

  /// Mercury in the middle of a sentence, Silver Spring.
  bool is_in_proper_name(std::size_t first, std::size_t last) const {
    const RequestWord& word = words_[first];
    if (capitals_ || !is_upper(word.text[0]) || has_capitals(first)) return false;
    if (is_among(PROPER_NAMES, word.lower) && !word.starts_sentence) return true;
    if (last + 1 >= words_.size()) return false;
    const RequestWord& next = words_[last + 1];
    constexpr std::size_t SHORTEST = 4;
    return next.clause == word.clause && next.before == ' ' && next.text.size() >= SHORTEST &&
           is_upper(next.text[0]) && is_lower(next.text[1]) && !is_kind(next.lower, eponym) &&
           !is_kind(next.lower, matter) && material_named(next.lower) == nullptr;
  }

  /// Whether an ambiguous element name (lead) is meant as the element.
  bool is_element_in_context(std::size_t i) const {
    static constexpr auto before_metal = std::to_array<std::string_view>(
        {"bulk", "liquid", "molten", "solid", "fcc", "superconducting", "metallic", "pure"});
    if (words_[i].lower != "lead") return false;
    const NamedMaterial* const next =
        i + 1 < words_.size() ? material_named(lower(i + 1)) : nullptr;
    return words_[i].has_state || words_[i].has_plane || is_among(before_metal, before(i)) ||
           next_is(i, matter) || (next != nullptr && next->naming == Naming::anion);
  }

  void read_file(std::size_t i) {
    names_file_ = true;
    const std::string stem = structure_ingest::internal::lower_cased(file_stem(words_[i].text));
    const NamedMaterial* const named = material_named(stem);
    Mention mention{.first = i, .last = i};
    if (named != nullptr && !named->capitals && named->naming == Naming::certain) {
      mention.elements = named->elements;
      mention.certain = true;
      mention.sort = named->sort;
    } else if (is_formula_in_lower_case(stem)) {
      mention.elements = elements_in_any_case(stem);
      mention.certain = true;
      mention.sort = sort_of(mention.elements);
    } else {
      for (const RequestWord& part : request_words(stem_in_words(stem))) {
        Elements found = elements_in_any_case(part.text);
        if (const NamedMaterial* const part_named = material_named(part.lower))
          found.insert(part_named->elements.begin(), part_named->elements.end());
        mention.elements.merge(found);
      }
    }
    add(std::move(mention));
  }

  static std::string stem_in_words(std::string stem) {
    std::replace_if(
        stem.begin(), stem.end(), [](char c) { return c == '_' || c == '-' || c == '.'; }, ' ');
    return stem;
  }

  /// A formula whose capitals were left out, and that can be nothing else.
  static bool is_formula_in_lower_case(std::string_view text) {
    if (is_well_known_formula(text)) return true;
    if (is_kind(text, jargon) || elements_in_any_case(text).size() < 2) return false;
    std::size_t counts = 0;
    for (std::size_t i = 1; i < text.size(); ++i)
      counts += is_digit(text[i]) && !is_digit(text[i - 1]);
    constexpr std::size_t SHORTEST_WITH_COUNTS = 5;  // fe2o3
    if (counts >= 2 && text.size() >= SHORTEST_WITH_COUNTS) return true;
    constexpr std::size_t SHORTEST_OXIDE = 4;  // tio2
    return text.size() >= SHORTEST_OXIDE && is_digit(text.back()) && text.back() > '1' &&
           text[text.size() - 2] == 'o';
  }

  // --- symbols and formulas ---

  void add_formula(std::size_t i, Elements elements, bool certain) {
    Mention mention{.first = i, .last = i, .elements = std::move(elements), .certain = certain};
    mention.sort = words_[i].has_plane ? Sort::solid : sort_of(mention.elements);
    add(std::move(mention));
  }

  void read_symbols(std::size_t i) {
    const std::string& text = words_[i].text;
    if (words_[i].is_number) return;
    const std::optional<ChemicalFormula> formula = capitals_ ? std::nullopt : read_formula(text);
    if (formula && formula->symbols == 1) {
      read_one_symbol(i, *formula);
    } else if (formula && (formula->has_long_symbol || formula->counted)) {
      add_formula(i, formula->elements,
                  text != "NaN" && (formula->has_long_symbol || !is_kind(words_[i].lower, jargon)));
    } else if (formula) {
      read_capitals(i, *formula);
    } else {
      read_any_case(i);
    }
  }

  void read_one_symbol(std::size_t i, const ChemicalFormula& formula) {
    const RequestWord& word = words_[i];
    const bool chemical = word.has_state || is_crystalline(i);
    if (is_among(ELEMENT_MOLECULES, word.text) && word.after != '=') {
      if (!is_space_group(i)) add_formula(i, formula.elements, !next_is(i, label_after));
    } else if (formula.has_long_symbol) {
      if (is_ordinary_word(i) || is_two_letter_space_group(i)) return;
      const bool mode = is_among(SYMBOLS_OF_MODES, word.text) && is_symmetry_of_mode(i);
      const bool author = lower(i + 1) == "et" || lower(i + 2) == "et";
      const bool safe = !is_among(UNSAFE_SYMBOLS, word.text) || formula.counted || word.has_plane ||
                        is_crystalline(i) || next_is(i, matter);
      add_formula(i, formula.elements, safe && !mode && !author);
    } else if (word.has_plane) {
      add_formula(i, formula.elements, true);
    } else if (!is_label(i) && !is_ordinary_word(i)) {
      add_formula(i, formula.elements, !formula.counted && (chemical || next_is_atoms(i)));
    }
  }

  bool next_is_atoms(std::size_t i) const {
    return lower(i + 1) == "atom" || lower(i + 1) == "atoms" || lower(i + 1) == "vacancy";
  }

  /// "fcc", "amorphous" before a symbol.
  bool is_crystalline(std::size_t i) const {
    static constexpr auto words = std::to_array<std::string_view>(
        {"fcc", "bcc", "hcp", "crystalline", "amorphous", "metallic"});
    return is_among(words, before(i));
  }

  bool is_symmetry_of_mode(std::size_t i) const {
    for (std::size_t k = 1; k <= 4; ++k)
      if (i + k < words_.size() && is_kind(lower(i + k), irrep_after)) return true;
    return false;
  }

  /// In, As, I, ... where they are English words.
  bool is_ordinary_word(std::size_t i) const {
    const RequestWord& word = words_[i];
    if (!is_among(WORDS_LIKE_SYMBOLS, word.text) || word.has_plane) return false;
    if (word.after == ':' || word.after == '\'') return true;
    if (i + 1 >= words_.size()) return word.text == "I";
    const RequestWord& next = words_[i + 1];
    if (is_kind(next.lower, after_word_in)) return true;
    if (is_kind(next.lower, matter) || next.before == '/') return false;
    if (next.is_number && word.text != "I") return true;
    const bool lower_case = is_lower(next.text[0]);
    const bool pronoun = word.text == "I" || (word.text == "He" && is_verb(next.lower));
    if (pronoun) return lower_case && next.before == ' ' && !is_kind(next.lower, link);
    return word.text == "No" || (word.text == "At" && word.starts_sentence) ||
           (word.text == "Am" && word.starts_sentence);
  }

  static bool is_verb(std::string_view word) { return word.ends_with("s") || word.ends_with("ed"); }

  /// A single letter, or one with a number, that labels something: a point, a unit, a variable.
  bool is_label(std::size_t i) const {
    const RequestWord& word = words_[i];
    if (is_kind(word.lower, jargon) && word.text.size() > 1) return true;
    if (word.after == '=' || word.before == '=' || word.before == '+') return true;
    if (next_is(i, matter)) return false;
    if (next_is(i, label_after) || is_kind(before(i), label_before)) return true;
    constexpr std::string_view UNITS = "KVCFNWHSU";
    if (i > 0 && words_[i - 1].is_number && word.before == ' ' &&
        UNITS.find(word.text[0]) != std::string_view::npos)
      return true;
    if (is_space_group(i)) return true;
    return is_on_path(i);
  }

  /// "P 21/c", "C2/m", "P-1": the letter of a lattice and what only a symmetry has after it.
  bool is_space_group(std::size_t i) const {
    constexpr std::string_view LATTICES = "PICFRAB";
    if (LATTICES.find(words_[i].text[0]) == std::string_view::npos || i + 1 >= words_.size())
      return false;
    const RequestWord& next = words_[i + 1];
    const bool slash = next.before == '/' && has_digit(words_[i].text);
    return (slash || next.before == '-') &&
           next.text.find_first_not_of("123456manbcd") == std::string::npos && next.before != ' ' &&
           (slash || next.is_number);
  }

  /// "Fm-3m", "Pa-3".
  bool is_two_letter_space_group(std::size_t i) const {
    static constexpr auto lattices = std::to_array<std::string_view>({"Fm", "Pm", "Cm", "Pa"});
    return is_among(lattices, words_[i].text) && i + 1 < words_.size() &&
           (words_[i + 1].before == '-' || words_[i + 1].before == '/') && words_[i + 1].is_number;
  }

  bool is_on_path(std::size_t i) const {
    std::size_t first = i;
    std::size_t last = i;
    constexpr std::size_t LONGEST_PATH = 16;
    const auto joins = [&](std::size_t k) {
      return words_[k].before == '-' || words_[k].before == '|' || words_[k].before == '/';
    };
    while (first > 0 && i - first < LONGEST_PATH && joins(first)) --first;
    while (last + 1 < words_.size() && last - i < LONGEST_PATH && joins(last + 1)) ++last;
    for (std::size_t k = first; k <= last; ++k)
      if (is_among(PATH_POINTS, words_[k].text) || words_[k].lower == "gamma") return true;
    return false;
  }

  /// Capitals without counts: CO, SCF, BN.
  void read_capitals(std::size_t i, const ChemicalFormula& formula) {
    const RequestWord& word = words_[i];
    if (is_among(CAPITAL_FORMULAS, word.text) || word.has_plane) {
      add_formula(i, formula.elements, true);
      return;
    }
    if (is_kind(word.lower, jargon)) return;
    const bool short_formula = word.text.size() == 2;
    add_formula(i, formula.elements, short_formula && next_is(i, matter));
    if (!short_formula) leaves_open(i);
  }

  void read_any_case(std::size_t i) {
    const RequestWord& word = words_[i];
    const bool ligand = word.before == '(' && i > 0 && mention_at_[i - 1] != NO_MENTION &&
                        word.text.size() > 1 && is_upper(word.text[0]);
    if (ligand && !is_kind(word.lower, jargon)) leaves_open(i);
    if (is_formula_in_lower_case(word.lower)) {
      add_formula(i, elements_in_any_case(word.lower), true);
      return;
    }
    const bool symbol = is_among(SAFE_LOWER_CASE, word.lower);
    const bool chemical = word.has_plane || is_among(BEFORE_LOWER_CASE, before(i)) ||
                          (capitals_ && next_is(i, matter));
    const bool number_before = i > 0 && words_[i - 1].is_number;
    if ((symbol && before(i) != "et" && !number_before) || word.has_plane) {
      add_formula(i, elements_in_any_case(word.lower), chemical && !is_kind(word.lower, jargon));
      return;
    }
    if (is_kind(word.lower, jargon)) return;
    if (sounds_chemical(i)) leaves_open(i);
    constexpr std::size_t LONGEST_ABBREVIATION = 3;
    const bool function_word = is_kind(word.lower, after_word_in) || is_kind(word.lower, link) ||
                               is_kind(word.lower, short_negation) || is_kind(word.lower, owner);
    if (word.text.size() > 2 && has_digit(word.text)) {
      add_formula(i, elements_in_any_case(word.lower), false);
    } else if (capitals_ && !function_word && word.text.size() <= LONGEST_ABBREVIATION) {
      add_formula(i, elements_in_any_case(word.lower), next_is(i, matter));
    }
  }

  // --- what takes certainty away ---

  void demote_structure_types() {
    for (Mention& mention : mentions_) {
      const std::size_t next = mention.last + 1;
      if (next >= words_.size()) continue;
      const bool adjacent = words_[next].clause == words_[mention.last].clause;
      const bool another = mention_at_[next] != NO_MENTION && mentions_[mention_at_[next]].certain;
      const bool joined = words_[next].before == '-' || is_kind(words_[next].lower, type_marker);
      if (adjacent &&
          ((is_kind(words_[next].lower, any_type_marker) && joined) ||
           (mention.prototype && (is_kind(words_[next].lower, type_marker) ||
                                  is_kind(words_[next].lower, any_type_marker) || another))))
        mention.certain = false;
    }
  }

  void demote(std::size_t word) {
    negated_[word] = true;
    if (mention_at_[word] != NO_MENTION) mentions_[mention_at_[word]].certain = false;
  }

  void demote_by_clauses() {
    for (std::size_t begin = 0; begin < words_.size();) {
      std::size_t end = begin;
      while (end < words_.size() && words_[end].clause == words_[begin].clause) ++end;
      demote_in_clause(begin, end);
      begin = end;
    }
  }

  void demote_in_clause(std::size_t begin, std::size_t end) {
    constexpr std::size_t REACH_OF_NO = 4;
    std::size_t negated_from = end;
    std::size_t dismissed_to = begin;
    for (std::size_t i = begin; i < end; ++i) {
      if (phrase_of_kind(i, short_negation) > 0)
        for (std::size_t k = i + 1; k < std::min(end, i + 1 + REACH_OF_NO); ++k) demote(k);
      if (phrase_of_kind(i, negation) > 0 || words_[i].lower.ends_with("n't"))
        negated_from = std::min(negated_from, i);
      if (phrase_of_kind(i, dismissal) > 0) dismissed_to = i;
      if (!names_file_ && is_reference(i)) {
        for (std::size_t k = begin; k < end; ++k)
          if (mention_at_[k] != NO_MENTION) mentions_[mention_at_[k]].certain = false;
        return;
      }
    }
    for (std::size_t k = begin; k < dismissed_to; ++k) demote(k);
    for (std::size_t k = negated_from; k < end; ++k) demote(k);
  }

  bool is_reference(std::size_t i) const {
    if (mention_at_[i] != NO_MENTION || phrase_of_kind(i, reference) == 0) return false;
    if (words_[i].lower != "like") return true;
    static constexpr auto wishes = std::to_array<std::string_view>(
        {"would", "i'd", "we'd", "also", "really", "d", "should", "you"});
    return lower(i + 1) != "to" && lower(i + 1) != "you" && !is_among(wishes, before(i)) &&
           words_[i].before != '-';
  }

  // --- unnamed materials ---

  void leaves_open(std::size_t i) {
    if (!unnamed_.empty()) return;
    std::size_t count = 1;
    for (const WordKind kind : {open, open_unless_named, open_unless_two})
      count = std::max(count, phrase_of_kind(i, kind));
    unnamed_ = text_of(i, i + count - 1);
  }

  std::string text_of(std::size_t first, std::size_t last) const {
    std::string text = words_[first].text;
    for (std::size_t i = first + 1; i <= last; ++i) text += words_[i].before + words_[i].text;
    return text;
  }

  bool names_material(std::size_t i) const {
    if (i >= words_.size() || mention_at_[i] == NO_MENTION) return false;
    return words_[i].is_file || !mentions_[mention_at_[i]].vague;
  }

  /// Whether the material that word i (count words long) stands for is named beside it.
  bool is_named_beside(std::size_t i, std::size_t count) const {
    for (std::size_t k = 1; k <= 2 && k <= i; ++k)
      if (words_[i - k].clause == words_[i].clause && names_material(i - k)) return true;
    return is_named_after(i + count);
  }

  /// Whether a name follows at word i, or after "of" or "is" there.
  bool is_named_after(std::size_t i) const {
    if (names_material(i)) return true;
    static constexpr auto namers = std::to_array<std::string_view>(
        {"of", "is", "are", "called", "named", "from", "made", "namely", "being"});
    if (!is_among(namers, lower(i))) return false;
    for (std::size_t k = i + 1; k <= i + 4; ++k)
      if (names_material(k)) return true;
    return false;
  }

  bool has_agent(std::size_t i) const {
    for (std::size_t k = 1; k <= 2 && k <= i; ++k)
      if (names_material(i - k)) return true;
    for (std::size_t k = i + 1; k <= i + 6; ++k) {
      if (lower(k) != "with" && lower(k) != "by") continue;
      if (names_material(k + 1) || names_material(k + 2)) return true;
    }
    return false;
  }

  bool is_sort_named(Sort sort) const {
    return std::any_of(mentions_.begin(), mentions_.end(), [&](const Mention& mention) {
      return mention.certain && mention.sort == sort;
    });
  }

  bool are_two_named() const {
    std::set<Elements> different;
    for (const Mention& mention : mentions_) {
      if (mention.vague || negated_[mention.first]) continue;
      different.insert(mention.elements);
      if (different.size() > 1) return true;
    }
    return false;
  }

  bool points_to_thing(std::size_t i) const {
    for (std::size_t k = i + 1; k <= i + 2 && k < words_.size(); ++k) {
      if (words_[k].clause != words_[i].clause || mention_at_[k] != NO_MENTION) return false;
      if (is_kind(lower(k), not_of_it)) return false;
      if (is_kind(lower(k), thing)) return !is_named_after(k + 1);
    }
    return false;
  }

  /// "with particles", "and a slab": one more than what has been named.
  bool is_added(std::size_t i) const {
    static constexpr auto adding = std::to_array<std::string_view>({"with", "and", "plus"});
    static constexpr auto articles = std::to_array<std::string_view>({"a", "an", "some", "one"});
    return lower(i + 1) == "on" || lower(i + 1) == "onto" || is_among(adding, before(i)) ||
           (is_among(articles, before(i)) && is_among(adding, before(i, 2)));
  }

  void find_unnamed_materials() {
    const bool molecule = is_sort_named(Sort::molecule);
    const bool solid = is_sort_named(Sort::solid);
    const bool two = are_two_named();
    for (std::size_t i = 0; i < words_.size() && unnamed_.empty(); ++i) {
      if (means_nothing_[i] || words_[i].is_file || words_[i].is_number) continue;
      if (negated_[i] && phrase_of_kind(i, open) == 0) continue;
      if (mention_at_[i] != NO_MENTION && !mentions_[mention_at_[i]].vague) continue;
      if (is_unnamed_material(i, molecule, solid, two)) leaves_open(i);
    }
  }

  bool is_unnamed_material(std::size_t i, bool molecule, bool solid, bool two) const {
    const auto beside = [&](std::size_t count) { return is_named_beside(i, count); };
    if (phrase_of_kind(i, open) > 0) return lower(i + 1) != "to";
    if (is_kind(lower(i), owner) && points_to_thing(i)) return true;
    const bool other_thing = is_kind(before(i), not_of_it);
    if (const std::size_t count = phrase_of_kind(i, open_unless_named); count > 0 && !other_thing)
      return is_added(i) ? !is_named_after(i + count) : !beside(count);
    if (is_kind(lower(i), open_unless_molecule)) return (!molecule || is_added(i)) && !beside(1);
    if (is_kind(lower(i), open_unless_solid))
      return (!solid || is_added(i)) && !other_thing && !beside(1);
    if (const std::size_t count = phrase_of_kind(i, open_unless_two); count > 0) {
      const bool alloy = lower(i).starts_with("alloy") || lower(i) == "intermetallic";
      return !two && !(alloy && names_mixture(i));
    }
    if (phrase_of_kind(i, open_unless_agent) > 0) return !has_agent(i);
    const std::size_t at = mention_at_[i];
    if (at != NO_MENTION) return is_bare_anion(i);
    return sounds_chemical(i);
  }

  /// A word such as "oxide" without its metal.
  bool is_bare_anion(std::size_t i) const {
    const NamedMaterial* const named = material_named(lower(i));
    return named != nullptr && named->naming == Naming::anion && !is_named_beside(i, 1);
  }

  bool names_mixture(std::size_t i) const {
    for (std::size_t k = 1; k <= 2 && k <= i; ++k)
      if (names_material(i - k) && mentions_[mention_at_[i - k]].elements.size() >= 2) return true;
    return false;
  }

  /// A word that ends like a chemical's name, or an abbreviation, that no table knows.
  bool sounds_chemical(std::size_t i) const {
    const std::string& word = words_[i].lower;
    const std::string& text = words_[i].text;
    const std::string_view stem =
        std::string_view(text).substr(0, text.size() - text.ends_with('s'));
    if (is_kind(word, jargon) || is_kind(word, not_a_material) ||
        is_kind(std::string_view(word).substr(0, stem.size()), jargon))
      return false;
    constexpr std::size_t SHORTEST_NAME = 5;
    const bool letters = std::all_of(word.begin(), word.end(), is_lower);
    if (letters && word.size() >= SHORTEST_NAME) {
      const auto ends = [&](std::string_view ending) { return word.ends_with(ending); };
      if (std::any_of(CHEMICAL_ENDINGS.begin(), CHEMICAL_ENDINGS.end(), ends)) return true;
    }
    return !capitals_ && is_unknown_abbreviation(stem);
  }

  /// "PTCDI", "ABO3", "CuPc".
  static bool is_unknown_abbreviation(std::string_view text) {
    constexpr std::size_t SHORTEST = 3;
    constexpr std::size_t LONGEST = 10;
    if (text.size() < SHORTEST || text.size() > LONGEST || !is_upper(text[0])) return false;
    const bool plain = std::all_of(
        text.begin(), text.end(), [](char c) { return is_upper(c) || is_lower(c) || is_digit(c); });
    const bool mixed = has_digit(text) || std::any_of(text.begin(), text.end(), is_lower);
    return plain && std::count_if(text.begin(), text.end(), is_upper) >= (mixed ? 2 : 3);
  }

  /// Whether a mention is a part of a structure (oxygen vacancy) or a guest on one (water
  /// dissociation), so that the structure itself has another name.
  bool is_part(const Mention& mention) const {
    const std::size_t next = mention.last + 1;
    const bool has_next =
        next < words_.size() && words_[next].clause == words_[mention.last].clause;
    const auto next_word_is = [&](WordKind kind) { return has_next && next_is(next - 1, kind); };
    if (words_[mention.first].has_plane) return false;
    if (next_word_is(unit_after)) return true;
    const bool molecule = mention.sort == Sort::molecule;
    const bool whole = next_word_is(open_unless_molecule) || next_word_is(open_unless_solid);
    if (whole || (!molecule && mention.elements.size() > 1)) return false;
    if (next_word_is(part_after) && (molecule || !next_word_is(link))) return true;
    const std::string& text = words_[mention.last].text;
    if ((text.back() == '+' || text.back() == '-') && is_kind(lower(next), link)) return true;
    constexpr std::size_t REACH = 3;  // "insert one more"
    for (std::size_t k = 1; k <= REACH && k <= mention.first; ++k) {
      const RequestWord& word = words_[mention.first - k];
      if (word.clause != words_[mention.first].clause) break;
      if (is_kind(word.lower, part_before)) return true;
    }
    return false;
  }

  /// Where all that is named are parts and guests, what holds them has no name.
  void find_unnamed_host() {
    bool found = false;
    for (const Mention& mention : mentions_) {
      if (!mention.certain || mention.elements.empty()) continue;
      if (words_[mention.first].is_file || !is_part(mention)) return;
      found = true;
    }
    only_parts_ = found;
  }

  RequestedMaterials summary() const {
    RequestedMaterials result;
    std::set<Elements> seen;
    for (const Mention& mention : mentions_) {
      result.elements.insert(mention.elements.begin(), mention.elements.end());
      if (!mention.certain || mention.elements.empty()) continue;
      if (seen.insert(mention.elements).second)
        result.certain.push_back({text_of(mention.first, mention.last), mention.elements});
    }
    result.unnamed = unnamed_;
    result.only_parts = only_parts_;
    return result;
  }

  std::vector<RequestWord> words_;
  bool capitals_;
  bool names_file_ = false;
  std::vector<Mention> mentions_;
  std::vector<std::size_t> mention_at_;  // by word
  std::vector<bool> means_nothing_;      // by word: part of an idiom
  std::vector<bool> negated_;            // by word
  std::string unnamed_;
  bool only_parts_ = false;
};

/// The words of a name or text in lower case: runs of letters and digits.
std::vector<std::string> plain_words(std::string_view text) {
  std::vector<std::string> words(1);
  for (const char c : structure_ingest::internal::lower_cased(text)) {
    if (is_lower(c) || is_digit(c) || static_cast<unsigned char>(c) >= 0x80) {
      words.back() += c;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

std::string joined(const std::vector<std::string>& words, std::size_t first, std::size_t count) {
  std::string text;
  for (std::size_t i = first; i < first + count; ++i) text += words[i] + ' ';
  return text;
}

}  // namespace

RequestedMaterials requested_materials(std::string_view request) {
  return RequestReader(request).read();
}

std::set<std::string> mentioned_names(std::string_view request,
                                      const std::set<std::string>& names) {
  std::multimap<std::string, std::string> name_of;
  std::set<std::size_t> lengths;
  for (const std::string& name : names) {
    const std::vector<std::string> words = plain_words(name);
    if (words.empty()) continue;
    name_of.emplace(joined(words, 0, words.size()), name);
    lengths.insert(words.size());
  }
  std::set<std::string> mentioned;
  const std::vector<std::string> words = plain_words(request);
  for (std::size_t first = 0; first < words.size(); ++first) {
    for (const std::size_t length : lengths) {
      if (first + length > words.size()) break;
      const auto [begin, end] = name_of.equal_range(joined(words, first, length));
      for (auto found = begin; found != end; ++found) mentioned.insert(found->second);
    }
  }
  return mentioned;
}

}  // namespace qelda_agent
