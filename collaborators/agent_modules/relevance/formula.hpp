// Chemical formulas as people type them: subscripts, charges, groups, hydrates, fractional and
// variable counts.
#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "structure_ingest/base/characters.hpp"

namespace agent_modules {

/// Canonical element symbols.
using Elements = std::set<std::string, std::less<>>;

using structure_ingest::internal::is_digit;

/// Whether the character at `at` belongs to a word of a script that separates its words; true
/// inside a multi-byte character.
bool in_word(std::string_view text, std::size_t at);

/// Whether `at` is not inside a word.
bool at_boundary(std::string_view text, std::size_t at);

struct Formula {
  std::size_t length = 0;   // bytes of text; 0 when there is no formula
  std::size_t symbols = 0;  // as written, repetitions included
  Elements elements;
  bool certain = false;  // cannot be a word or an abbreviation: TiO2, GaAs, C60, but not CO or Si
};

/// The longest formula at the front of `text` that no letter or digit follows. Case-sensitive: Co
/// is cobalt, CO carbon monoxide. `text` comes from `plain_text`.
Formula formula_at(std::string_view text);

/// `text` in the characters that formulas are parsed in: subscripts and superscripts as digits, all
/// dashes as "-", all apostrophes as "'", white space as single blanks. Removes the mark-up of
/// subscripts, invisible characters and invalid UTF-8.
std::string plain_text(std::string_view text);

}  // namespace agent_modules
