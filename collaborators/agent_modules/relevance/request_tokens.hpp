// Splits a request into words, phrases, names, formulas, numbers and signs, in one language.
#pragma once

#include <set>
#include <string_view>
#include <vector>

#include "collaborators/agent_modules/relevance/formula.hpp"
#include "collaborators/agent_modules/relevance/lexicon.hpp"

namespace agent_modules {

struct Token {
  std::string_view text;
  unsigned uses = 0;       // UNKNOWN for a word that is not in the lexicon
  Elements elements{};     // of the material that a NAME means
  bool certain = false;    // the name is no ordinary word or abbreviation
  bool ambiguous = false;  // the name is also an ordinary word: "lead", "steel"
  Elements possible{};     // of a word of the lexicon that may also be a formula: "In", "HF"

  bool is(unsigned use) const { return (uses & use) != 0; }
};

/// The tokens of `text`, which comes from `plain_text`. A symbol that may be a word or an
/// abbreviation ("C", "As", "mos2") counts only if a structure has exactly its elements; `at_hand`
/// holds the elements of each structure.
std::vector<Token> tokens_of(std::string_view text, const Lexicon& lexicon,
                             const std::set<Elements>& at_hand);

}  // namespace agent_modules
