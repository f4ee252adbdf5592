// A request while it is read: its words, and the materials that they mention.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "collaborators/agent_modules/relevance/chemical_formula.hpp"
#include "collaborators/agent_modules/relevance/material_names.hpp"
#include "collaborators/agent_modules/relevance/request_text.hpp"
#include "collaborators/agent_modules/relevance/request_words.hpp"

namespace agent_modules {

/// No word, no mention.
inline constexpr std::size_t NONE = static_cast<std::size_t>(-1);

struct Mention {
  std::size_t first = 0;  // words
  std::size_t last = 0;
  Elements elements = {};
  bool certain = false;
  bool vague = false;      // does not name the whole material: perovskite, oxide
  bool prototype = false;  // may name a structure type instead
  Sort sort = Sort::solid;
};

/// Molecules are made of few elements, all of them far to the right.
Sort sort_of(const Elements& elements);

struct WordNotes {
  std::size_t mention = NONE;
  bool idiom = false;  // a part of one, so that it means no material
  bool negated = false;
};

/// A word's index may lie past either end (as i - 1 of the first word does): no word is there.
struct RequestReading {
  std::vector<RequestWord> words;
  std::vector<WordNotes> notes;   // one for each word
  std::vector<Mention> mentions;  // in the order of the request
  bool capitals = false;          // its letter case says nothing
  std::size_t open_at = NONE;     // the first word found to stand for an unnamed material

  explicit RequestReading(std::string_view request);

  const RequestWord& word(std::size_t i) const;
  const std::string& lower(std::size_t i) const { return word(i).lower; }
  bool is(std::size_t i, auto... kinds) const { return (is_kind(lower(i), kinds) || ...); }
  bool same_clause(std::size_t i, std::size_t k) const { return word(i).clause == word(k).clause; }
  const Mention* mention(std::size_t i) const;                  // null for none
  std::string text(std::size_t first, std::size_t last) const;  // as written

  /// How many words at i, the most first, are a phrase of one clause that `fits`; 0 for none.
  std::size_t longest_phrase(std::size_t i, auto fits) const;
  std::size_t phrase(std::size_t i, WordKind kind) const;

  void add(Mention mention);
  void doubt(std::size_t i);  // the mention there is not certain
  void leave_open(std::size_t i);
};

std::size_t RequestReading::longest_phrase(std::size_t i, auto fits) const {
  for (std::size_t count = LONGEST_NAME_IN_WORDS; count > 0; --count) {
    if (!same_clause(i, i + count - 1)) continue;
    std::string phrase = lower(i);
    for (std::size_t k = 1; k < count; ++k) phrase += " " + lower(i + k);
    if (fits(phrase)) return count;
  }
  return 0;
}

}  // namespace agent_modules
