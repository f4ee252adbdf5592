// What a request says, read in one language.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "collaborators/agent_modules/relevance/formula.hpp"
#include "collaborators/agent_modules/relevance/lexicon.hpp"

namespace agent_modules {

/// A material that the request names.
struct Mention {
  std::string text;  // as written
  Elements elements;
  bool certain = false;  // cannot be an ordinary word, an abbreviation or a group of materials
  bool object = false;   // of the task; not its partner, place, medium, tool or example
};

struct RequestReading {
  /// The first words that may stand for something without a name, or that are not known; empty when
  /// the whole request is understood.
  std::string unclear;
  std::size_t understood = 0;  // bytes before them
  std::vector<Mention> mentions;
  Elements possible;     // of words that may also be read as formulas
  bool pair = false;     // a process between two materials is named
  bool guessed = false;  // words are known by their ending only
};

/// Reads `request`, which is as `plain_text` gives it. What could as well be a word or an
/// abbreviation
/// ("In", "C", "mos2") names a material only where `at_hand`, the elements of each structure, holds
/// just its elements.
RequestReading read_request(std::string_view request, const Lexicon& lexicon,
                            const std::set<Elements>& at_hand);

}  // namespace agent_modules
