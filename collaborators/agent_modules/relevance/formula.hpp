// Chemical formulas in the spellings that people type: subscripts, charges, groups, hydrates,
// fractional and variable counts.
#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>

namespace agent_modules {

/// Canonical element symbols.
using Elements = std::set<std::string, std::less<>>;

/// Whether the character at `at` belongs to a word of a script that separates its words; bytes
/// inside a character do.
bool in_word(std::string_view text, std::size_t at);

/// Whether no word reaches over `at`.
bool at_boundary(std::string_view text, std::size_t at);

struct Formula {
  std::size_t length = 0;   // bytes of text; 0 when there is no formula
  std::size_t symbols = 0;  // as written, repeated ones too
  Elements elements;
  bool certain = false;  // cannot be a word or an abbreviation: TiO2, GaAs, C60, but not CO or Si
};

/// The longest formula at the front of `text` after which no letter or digit follows. Letter case
/// counts: Co is cobalt, CO carbon monoxide. `text` is as `plain_text` gives it.
Formula formula_at(std::string_view text);

/// `text` with the characters that formulas are read in: subscripts and superscripts as digits, all
/// dashes as "-", all apostrophes as "'", white space as single blanks, without the mark-up of
/// subscripts, invisible characters and bytes that are no UTF-8.
std::string plain_text(std::string_view text);

}  // namespace agent_modules
