#include "collaborators/agent_modules/relevance/formula.hpp"

#include <algorithm>
#include <cctype>
#include <optional>

#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace agent_modules {
namespace {

namespace base = structure_ingest::internal;

/// The length of a count at the front of `text`: 2, 0.7, x, 1-x-y, 7-δ; 0 for none. Sets `variable`
/// if it contains one.
std::size_t count_length(std::string_view text, bool& variable) {
  std::size_t length = 0;
  for (std::size_t at = 0; at < text.size(); length = at) {
    if (length > 0 && text[at] != '-' && text[at] != '+') break;
    at += length > 0;
    const std::size_t begin = at;
    while (at < text.size() && (is_digit(text[at]) || (text[at] == '.' && at > begin))) ++at;
    if (at > begin && text[at - 1] == '.') --at;
    for (const std::string_view name : {"x", "y", "z", "n", "δ"})
      if (text.substr(at).starts_with(name)) {
        at += name.size();
        variable = true;
        break;
      }
    if (at == begin) break;
  }
  return length;
}

/// Whether this is the name of an elastic constant: C11, C44.
bool is_elastic_constant(std::string_view text) {
  const auto is_index = [](char c) { return c >= '1' && c <= '6'; };
  return text.size() == 3 && text[0] == 'C' && is_index(text[1]) && is_index(text[2]);
}

/// Reads all of `text` as one formula.
std::optional<Formula> whole_formula(std::string_view text) {
  if (is_elastic_constant(text)) return std::nullopt;
  Formula formula;
  std::string open;  // the closing brackets still expected
  bool counted = false;
  bool variable = false;
  bool empty_group = false;
  bool long_symbol = false;
  std::size_t at = 0;
  const auto skip_count = [&] {
    const std::size_t length = count_length(text.substr(at), variable);
    counted |= length > 0;
    at += length;
  };
  while (at < text.size() && is_digit(text[at])) ++at;  // 2H2O
  const bool coefficient = at > 0;
  while (at < text.size()) {
    const char c = text[at];
    if (base::is_capital(c)) {
      const bool deuterium = c == 'D' && at + 1 < text.size() && is_digit(text[at + 1]);
      std::size_t length = at + 1 < text.size() && base::is_small_letter(text[at + 1]) ? 2 : 1;
      std::string symbol = base::canonical_symbol(text.substr(at, length));
      if (symbol.size() != length) symbol = base::canonical_symbol(text.substr(at, length = 1));
      if (deuterium) symbol = "H";
      if (symbol.empty()) return std::nullopt;
      formula.elements.insert(symbol);
      ++formula.symbols;
      long_symbol |= length == 2;
      empty_group = false;
      at += length;
      skip_count();
    } else if (const std::size_t kind = std::string_view("([{").find(c);
               kind != std::string_view::npos) {
      open += ")]}"[kind];
      empty_group = true;
      ++at;
    } else if (!open.empty() && c == open.back() && !empty_group) {
      open.pop_back();
      ++at;
      skip_count();
    } else if (formula.symbols > 0 && c == ',' && !open.empty()) {
      ++at;  // (Mg,Fe)O
    } else if (formula.symbols > 0 && (c == '*' || c == '.' || c == '@')) {
      ++at;  // CuSO4*5H2O, H2O@C60
      at += count_length(text.substr(at), variable);
      if (at == text.size() || (!base::is_capital(text[at]) && text[at] != '('))
        return std::nullopt;
    } else if (formula.symbols > 0 &&
               text.find_first_not_of("^+-0123456789", at) == std::string_view::npos) {
      counted = true;  // a charge: +, 2-, ^3+
      at = text.size();
    } else {
      return std::nullopt;
    }
  }
  if (!open.empty() || empty_group || formula.symbols == 0) return std::nullopt;
  if ((coefficient || variable) && formula.symbols < 2) return std::nullopt;  // "Six", "Con"
  formula.length = text.size();
  // A word of capitals may be an abbreviation, and a single symbol may be a word.
  formula.certain = formula.symbols > 1 ? counted || long_symbol : counted && text.size() > 2;
  return formula;
}

// Special characters, and below them their plain equivalents.
constexpr std::u32string_view FOREIGN =
    U"\u2080\u2081\u2082\u2083\u2084\u2085\u2086\u2087\u2088\u2089"
    U"\u2070\u00B9\u00B2\u00B3\u2074\u2075\u2076\u2077\u2078\u2079"
    U"\u207A\u208A\u207B\u208B\u2212\u2010\u2011\u2012\u2013\u2014\u2015"
    U"\u00B7\u2022\u2219\u22C5\u2018\u2019\u02BC\u201C\u201D\u2093"
    U"\uFF0C\u3002\uFF1F\uFF01\uFF1A\uFF1B\uFF08\uFF09";
constexpr std::string_view UNMARKED =
    "0123456789"
    "0123456789"
    "++---------"
    "****'''\"\"x"
    ",.?!:;()";
static_assert(FOREIGN.size() == UNMARKED.size());

/// The length of mark-up at the front of `rest`: a tag, or the underscore and brace of a subscript
/// that follows `before`.
std::size_t mark_up_length(std::string_view rest, char before) {
  for (const std::string_view mark :
       {"<sub>", "</sub>", "<sup>", "</sup>", "\\mathrm{", "\\text{", "\\ce{", "$", "`"})
    if (rest.starts_with(mark)) return mark.size();
  const bool follows_symbol =
      base::is_capital(before) || base::is_small_letter(before) || before == ')';
  if (!follows_symbol || rest.size() < 2 || rest[0] != '_') return 0;
  return rest[1] == '{' ? 2 : is_digit(rest[1]) ? 1 : 0;
}

}  // namespace

bool in_word(std::string_view text, std::size_t at) {
  if (at >= text.size()) return false;
  const char32_t c = base::character_at(text, at).value;
  if (c < 0x80) return std::isalnum(static_cast<unsigned char>(c)) != 0;
  const bool symbol = (c >= 0x2000 && c < 0x2C00) || c == 0xD7 || c == 0xF7 || c < 0xC0;
  return c == base::INVALID_CHARACTER || (c < 0x2E80 && !symbol);
}

bool at_boundary(std::string_view text, std::size_t at) {
  if (at == 0 || !in_word(text, at)) return true;
  std::size_t before = at - 1;  // the first byte of the character before
  while (before > 0 && (static_cast<unsigned char>(text[before]) & 0xC0) == 0x80) --before;
  return !in_word(text, before);
}

Formula formula_at(std::string_view text) {
  constexpr std::size_t LONGEST = 60;
  const std::size_t end = std::min(text.find_first_of(" \"';:!?"), std::min(LONGEST, text.size()));
  for (std::size_t length = end; length > 0; --length) {
    if (!at_boundary(text, length)) continue;
    if (text[length - 1] == '-' && in_word(text, length)) continue;  // Li-ion
    if (auto formula = whole_formula(text.substr(0, length))) return *std::move(formula);
  }
  return {};
}

std::string plain_text(std::string_view text) {
  std::string plain;
  bool in_braces = false;
  while (!text.empty()) {
    std::size_t length = mark_up_length(text, plain.empty() ? '\0' : plain.back());
    if (length > 0) {
      in_braces |= text[length - 1] == '{';
    } else if (in_braces && text[0] == '}') {
      in_braces = false;
      length = 1;
    } else {
      const auto [value, bytes] = base::character_at(text, 0);
      length = bytes;
      const bool invisible = value == base::INVALID_CHARACTER || value == 0x00AD ||
                             value == 0x2060 || value == 0xFEFF ||
                             (value >= 0x200B && value <= 0x200D);
      if (const std::size_t at = FOREIGN.find(value); at != std::u32string_view::npos) {
        plain += UNMARKED[at];
      } else if (base::is_space(value)) {
        if (!plain.empty() && plain.back() != ' ') plain += ' ';
      } else if (!invisible) {
        plain += text.substr(0, length);
      }
    }
    text.remove_prefix(length);
  }
  return plain;
}

}  // namespace agent_modules
