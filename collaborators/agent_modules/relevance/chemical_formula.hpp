// Chemical formulas in the spellings that people type: subscripts, charges, groups, hydrates,
// fractional and variable counts.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace agent_modules {

/// Canonical element symbols.
using Elements = std::set<std::string, std::less<>>;

bool is_element(std::string_view symbol);

struct ChemicalFormula {
  Elements elements;
  std::size_t symbols = 0;       // symbols written, repeated ones too
  bool counted = false;          // holds a count, a charge or a group
  bool has_long_symbol = false;  // holds a symbol of two letters, such as Fe
};

/// Reads a formula whose letter case counts: Co is cobalt, CO carbon monoxide. Nothing for other
/// text, and for a formula that holds an unknown symbol.
std::optional<ChemicalFormula> read_formula(std::string_view text);

/// Every element that occurs in any reading of `text` as letters of any case with counts: Co, C and
/// O for "co2". Empty when there is no reading, or when the text is longer than any short formula.
Elements elements_in_any_case(std::string_view text);

/// `text` in the characters that formulas are read in: subscripts and superscripts as plain digits,
/// all dashes as "-", a centred dot as "*", without the mark-up of subscripts. Bytes that are no
/// UTF-8 and invisible characters are dropped.
std::string plain_formula_text(std::string_view text);

}  // namespace agent_modules
