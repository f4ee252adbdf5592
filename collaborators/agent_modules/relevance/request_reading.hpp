// The meaning of a request, read in one language.
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
  bool certain = false;  // not an ordinary word, an abbreviation or a group of materials
  bool object = false;   // of the task; no partner, place, medium, tool or example
};

struct RequestReading {
  /// The first word that is unknown or may mean something unnamed; empty when the whole request is
  /// understood.
  std::string unclear;
  std::size_t understood = 0;  // bytes before that word
  std::vector<Mention> mentions;
  Elements possible;     // elements of words that may also be formulas
  bool pair = false;     // a process between two materials is named
  bool guessed = false;  // some words are recognised by their ending only
};

/// Reads `request`, which comes from `plain_text`. A symbol that may be a word or an abbreviation
/// ("In", "C", "mos2") names a material only if a structure has exactly its elements; `at_hand`
/// holds the elements of each structure.
RequestReading read_request(std::string_view request, const Lexicon& lexicon,
                            const std::set<Elements>& at_hand);

/// Whether a material of these elements is a gas, a liquid or a molecule rather than a solid.
bool is_fluid(const Elements& elements);

}  // namespace agent_modules
