// The words of requests in the supported languages, and the names of materials in them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "collaborators/agent_modules/relevance/formula.hpp"

namespace agent_modules {

/// The uses of a word in a request, explained in words.txt. A word may have several.
enum Use : unsigned {
  PLAIN = 1U << 0,
  ADJECTIVE = 1U << 1,
  ENDING = 1U << 2,
  UNIT = 1U << 3,
  LINK = 1U << 4,
  HOST = 1U << 5,
  AFTER = 1U << 6,
  OF = 1U << 7,
  OWN = 1U << 8,
  JOIN = 1U << 9,
  FORM = 1U << 10,
  TYPE = 1U << 11,
  PAIR = 1U << 12,
  BETWEEN = 1U << 13,
  UNNAMED = 1U << 14,
  // For words that are not in the tables.
  NAME = 1U << 15,
  NUMBER = 1U << 16,
  STOP = 1U << 17,
  UNKNOWN = 1U << 18,
};

struct Word {
  unsigned uses = 0;
  Elements elements;       // of the material named, if any
  bool guessed = false;    // recognised by its ending only
  bool ambiguous = false;  // the name is also an ordinary word or names a group of materials
};

/// One language.
class Lexicon {
 public:
  explicit Lexicon(std::string_view language);

  struct Match {
    std::size_t length = 0;  // bytes of text; 0 for no match
    const Word* word = nullptr;
  };

  /// The longest known word or phrase at `at` in the lower-case `text`.
  Match match(std::string_view text, std::size_t at) const;

 private:
  void add(std::string_view entry, unsigned use, const Elements* elements);
  void read_words();
  void read_names(std::string_view table);

  std::string language_;
  std::unordered_map<std::string, Word> words_;
  std::unordered_map<std::string, Word> stems_;  // words that may have any ending
  std::vector<std::string> endings_;
  Word plain_{PLAIN, {}, true};
};

/// The lexicons of all languages, read at the first call.
const std::vector<Lexicon>& lexicons();

}  // namespace agent_modules
