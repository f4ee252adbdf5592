#include "collaborators/agent_modules/relevance/chemical_formula.hpp"

#include <array>
#include <initializer_list>
#include <utility>

#include "collaborators/agent_modules/relevance/plain_letters.hpp"
#include "structure_ingest/base/text.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace agent_modules {
namespace {

using structure_ingest::internal::canonical_symbol;
using structure_ingest::internal::Character;
using structure_ingest::internal::character_at;

/// Reads one formula from left to right.
class FormulaReader {
 public:
  explicit FormulaReader(std::string_view text) : text_(text) {}

  std::optional<ChemicalFormula> read() {
    skip_digits();  // 2H2O, 0.5Li2O
    const bool coefficient = position_ > 0;
    while (position_ < text_.size()) {
      if (!read_item() && !read_charge()) return std::nullopt;
    }
    const bool complete = open_.empty() && !empty_group_ && formula_.symbols > 0;
    if (!complete || ((coefficient || variable_) && formula_.symbols < 2)) return std::nullopt;
    return std::move(formula_);
  }

 private:
  char next() const { return position_ < text_.size() ? text_[position_] : '\0'; }

  bool skip(char c) {
    if (next() != c) return false;
    ++position_;
    return true;
  }

  bool skip_digits() {
    const std::size_t begin = position_;
    while (is_digit(next()) || (next() == '.' && position_ > begin)) ++position_;
    return position_ > begin;
  }

  bool skip_variable() {
    for (const std::string_view name : {"x", "y", "z", "n", "δ"}) {
      if (!text_.substr(position_).starts_with(name)) continue;
      position_ += name.size();
      return variable_ = true;
    }
    return false;
  }

  /// A count: 2, 0.7, x, 1-x-y, 7-δ; none is a count too.
  void read_count() {
    if (skip_digits()) formula_.counted = true;
    skip_variable();
    while (next() == '-' || next() == '+') {
      const std::size_t before = position_++;
      skip_digits();
      if (skip_variable()) continue;
      position_ = before;
      return;
    }
  }

  bool read_symbol() {
    if (!is_upper(next())) return false;
    for (const std::size_t length : {2U, 1U}) {
      const std::string_view symbol = text_.substr(position_, length);
      if (symbol.size() != length || (length == 2 && !is_lower(symbol[1]))) continue;
      const bool deuterium = symbol == "D" && position_ + 1 < text_.size() &&
                             is_digit(text_[position_ + 1]) && text_.size() > 2;
      if (!is_element(symbol) && !deuterium) continue;
      formula_.elements.emplace(deuterium ? "H" : symbol);
      formula_.has_long_symbol |= length == 2;
      ++formula_.symbols;
      position_ += length;
      empty_group_ = false;
      variable_ |= deuterium;  // D2O, but not the D3 of a dispersion correction
      return true;
    }
    return false;
  }

  bool read_item() {
    if (read_symbol()) {
      read_count();
      return true;
    }
    constexpr std::string_view opening = "([{";
    constexpr std::string_view closing = ")]}";
    const char c = next();
    if (const std::size_t kind = opening.find(c); kind != std::string_view::npos) {
      open_ += closing[kind];
      empty_group_ = true;
      ++position_;
      return true;
    }
    if (closing.find(c) != std::string_view::npos) {
      if (open_.empty() || open_.back() != c || empty_group_) return false;
      open_.pop_back();
      ++position_;
      formula_.counted = true;
      read_count();
      return true;
    }
    if (formula_.symbols == 0) return false;
    if (c == ',') return !open_.empty() && skip(',');
    if (c != '*' && c != '.') return false;
    ++position_;
    skip_digits() || skip_variable();
    return is_upper(next()) || next() == '(';
  }

  /// A charge at the end: +, 2-, ^3+; its digits may have been read as a count.
  bool read_charge() {
    if (formula_.symbols == 0) return false;
    skip('^');
    skip_digits();
    const std::size_t begin = position_;
    while (next() == '+' || next() == '-') ++position_;
    formula_.counted |= position_ > begin;
    return position_ > begin && position_ == text_.size();
  }

  std::string_view text_;
  std::size_t position_ = 0;
  std::string open_;  // the closing brackets to come
  bool empty_group_ = false;
  bool variable_ = false;
  ChemicalFormula formula_;
};

// Characters of other scripts, and below them the formula characters that they stand for.
constexpr std::u32string_view FOREIGN =
    U"\u2080\u2081\u2082\u2083\u2084\u2085\u2086\u2087\u2088\u2089"
    U"\u2070\u00B9\u00B2\u00B3\u2074\u2075\u2076\u2077\u2078\u2079"
    U"\u207A\u208A\u207B\u208B\u2212\u2010\u2011\u2012\u2013\u2014\u2015"
    U"\u00B7\u2022\u2219\u22C5\u30FB\u2018\u2019\u02BC\u201C\u201D\u2093";
constexpr std::string_view PLAIN =
    "0123456789"
    "0123456789"
    "++---------"
    "*****'''\"\"x";
static_assert(FOREIGN.size() == PLAIN.size());

bool is_invisible(char32_t c) {
  return c == structure_ingest::internal::INVALID_CHARACTER || c == 0x00AD ||
         (c >= 0x200B && c <= 0x200D) || c == 0x2060 || c == 0xFEFF;
}

/// Mark-up that says nothing to a formula; what opens a brace is listed with it.
constexpr std::array<std::string_view, 9> MARK_UP = {
    "<sub>", "</sub>", "<sup>", "</sup>", "\\mathrm{", "\\text{", "\\ce{", "$", "`"};

/// The length of the mark-up at the front of `rest`: a tag, or the underscore and brace of a
/// subscript that follows `before`.
std::size_t mark_up_length(std::string_view rest, char before) {
  for (const std::string_view mark : MARK_UP)
    if (rest.starts_with(mark)) return mark.size();
  const bool follows_symbol = is_upper(before) || is_lower(before) || before == ')';
  if (!follows_symbol || rest.size() < 2 || rest[0] != '_') return 0;
  return rest[1] == '{' ? 2 : is_digit(rest[1]) ? 1 : 0;
}

}  // namespace

bool is_element(std::string_view symbol) {
  return !symbol.empty() && symbol.size() <= 2 && canonical_symbol(symbol) == symbol;
}

std::optional<ChemicalFormula> read_formula(std::string_view text) {
  return FormulaReader(text).read();
}

Elements elements_in_any_case(std::string_view text) {
  constexpr std::size_t LONGEST = 24;
  if (text.empty() || text.size() > LONGEST) return {};
  // For each place, the elements in the readings of the text from there to its end.
  std::array<std::optional<Elements>, LONGEST + 1> from;
  from[text.size()] = Elements();
  for (std::size_t begin = text.size(); begin-- > 0;) {
    for (const std::size_t length : {1U, 2U}) {
      std::size_t end = begin + length;
      while (end < text.size() && is_digit(text[end])) ++end;
      if (end > text.size() || !from[end]) continue;
      std::string symbol = canonical_symbol(text.substr(begin, length));
      if (symbol.size() != length) continue;
      if (!from[begin]) from[begin].emplace();
      from[begin]->insert(from[end]->begin(), from[end]->end());
      from[begin]->insert(std::move(symbol));
    }
  }
  return std::move(from[0]).value_or(Elements());
}

std::string plain_formula_text(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  bool in_braces = false;
  while (!text.empty()) {
    std::size_t length = mark_up_length(text, plain.empty() ? '\0' : plain.back());
    if (length > 0) {
      in_braces |= text[length - 1] == '{';
    } else if (in_braces && text[0] == '}') {
      in_braces = false;
      length = 1;
    } else {
      const Character character = character_at(text, 0);
      length = character.length;
      if (const std::size_t at = FOREIGN.find(character.value); at != std::u32string_view::npos) {
        plain += PLAIN[at];
      } else if (!is_invisible(character.value)) {
        plain += text.substr(0, length);
      }
    }
    text.remove_prefix(length);
  }
  return plain;
}

}  // namespace agent_modules
