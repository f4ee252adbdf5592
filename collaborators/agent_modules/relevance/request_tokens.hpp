// A request cut into words, phrases, names, formulas, numbers and signs, in one language.
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
  Elements elements;       // of the material that a NAME stands for
  bool certain = false;    // such a name cannot be an ordinary word or an abbreviation
  bool ambiguous = false;  // it is one: "lead", "steel"
  Elements possible;       // of a word of the lexicon that may also be a formula: "In", "HF"

  bool is(unsigned use) const { return (uses & use) != 0; }
};

/// The tokens of `text`, which is as `plain_text` gives it. What could as well be a word or an
/// abbreviation ("C", "As", "mos2") is known only where `at_hand`, the elements of each structure,
/// holds just its elements.
std::vector<Token> tokens_of(std::string_view text, const Lexicon& lexicon,
                             const std::set<Elements>& at_hand);

}  // namespace agent_modules
