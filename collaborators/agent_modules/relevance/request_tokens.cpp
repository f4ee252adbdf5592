#include "collaborators/agent_modules/relevance/request_tokens.hpp"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <utility>

#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace agent_modules {
namespace {

namespace base = structure_ingest::internal;

/// `text` in lower case with hyphens inside words as blanks. Each character keeps its number of
/// bytes.
std::string folded(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = base::character_at(text, at).length;
    const std::string_view character = text.substr(at, length);
    const std::string lower = base::lower_cased(character);
    const bool hyphen =
        character == "-" && at > 0 && in_word(text, at - 1) && in_word(text, at + 1);
    result += hyphen ? " " : lower.size() == length ? std::string_view(lower) : character;
    at += length;
  }
  return result;
}

/// The length of a number with its signs and unit at the front of `text`: 4x4x1, (111), 1e-6, 300K.
/// Does not include longer words, as in 2-butanol.
std::size_t number_length(std::string_view text) {
  constexpr std::size_t LONGEST_UNIT = 3;
  std::size_t letters = 0;
  std::size_t length = 0;
  while (length < text.size()) {
    const char c = text[length];
    const bool letter = std::isalpha(static_cast<unsigned char>(c)) != 0;
    letters = letter ? letters + 1 : 0;
    if (letters > LONGEST_UNIT) return 0;
    if (c == '-' && length + 1 < text.size() && !is_digit(text[length + 1])) break;
    if (!letter && !is_digit(c) && std::string_view(".^*+-/%_").find(c) == std::string_view::npos)
      break;
    ++length;
  }
  while (length > 0 && text[length - 1] == '.') --length;
  return in_word(text, length) ? 0 : length;
}

/// The use of the sign at `at`: a stop, a joining comma or slash, or none.
unsigned sign_use(std::string_view text, std::size_t at) {
  const std::string_view sign = text.substr(at, base::character_at(text, at).length);
  for (const std::string_view stop : {".", ";", ":", "!", "?", "\n"})
    if (sign == stop) return STOP;
  for (const std::string_view join : {",", "/", "&", "+", "\u3001"})
    if (sign == join) return JOIN;
  if (sign == "%") return LINK | NUMBER;
  if (sign == "-" && at > 0 && in_word(text, at - 1)) return JOIN;
  return std::string_view(" -\"'()[]{}~<>=\u00BF\u00A1\u2264\u2265\u2248\u00B0\u00C5\u00D7\u2026")
                     .find(sign) != std::string_view::npos
             ? 0U
             : UNKNOWN;
}

/// The elements of a word in any letter case, such as "tio2" or "NACL", read as a formula of at
/// least two symbols, two letters as one symbol if possible; empty when it cannot be read so.
Elements elements_in_any_case(std::string_view word, std::size_t symbols = 0) {
  constexpr std::size_t LONGEST = 16;
  if (word.size() > LONGEST) return {};
  for (const std::size_t length : {std::size_t{2}, std::size_t{1}}) {
    if (length > word.size()) continue;
    std::string symbol = base::canonical_symbol(word.substr(0, length));
    if (symbol.size() != length) continue;
    std::size_t end = length;
    while (end < word.size() && is_digit(word[end])) ++end;
    Elements elements;
    if (end < word.size()) elements = elements_in_any_case(word.substr(end), symbols + 1);
    if (end < word.size() ? elements.empty() : symbols == 0) continue;
    elements.insert(std::move(symbol));
    return elements;
  }
  return {};
}

/// The word or phrase of the lexicon at the front of `text`.
Token lexicon_token(std::string_view text, const Lexicon::Match& match, const Formula& formula) {
  constexpr std::size_t LONGEST_ABBREVIATION = 2;
  Token token{text.substr(0, match.length), match.word->uses, match.word->elements};
  if (!token.elements.empty()) {
    token.uses = NAME | (token.uses & ADJECTIVE);
    token.ambiguous = match.word->ambiguous;
    token.certain = !token.ambiguous;
  }
  if (match.word->guessed) token.uses |= ENDING;
  if (formula.length == match.length && formula.length <= LONGEST_ABBREVIATION &&
      token.uses != UNIT)
    token.possible = formula.elements;
  return token;
}

/// The token of a word that is not in the lexicon and not a formula as written, or of a sign.
Token other_token(std::string_view text, std::size_t at, const std::set<Elements>& at_hand) {
  const bool word_starts = at_boundary(text, at);
  std::size_t length = base::character_at(text, at).length;
  if (!in_word(text, at)) return {text.substr(at, length), sign_use(text, at)};
  while (in_word(text, at + length)) ++length;
  Elements elements = elements_in_any_case(text.substr(at, length));
  if (!word_starts || !at_hand.contains(elements)) return {text.substr(at, length), UNKNOWN};
  return {text.substr(at, length), NAME, std::move(elements)};
}

}  // namespace

std::vector<Token> tokens_of(std::string_view text, const Lexicon& lexicon,
                             const std::set<Elements>& at_hand) {
  const std::string lower = folded(text);
  std::vector<Token> tokens;
  for (std::size_t at = 0; at < text.size(); at += tokens.back().text.size()) {
    // Plain words and signs without a use give no token.
    while (at < text.size() && !in_word(text, at) && sign_use(text, at) == 0 &&
           lexicon.match(lower, at).length == 0 && formula_at(text.substr(at)).length == 0)
      at += base::character_at(text, at).length;
    if (at == text.size()) break;
    const std::string_view rest = text.substr(at);
    const bool after_number = !tokens.empty() && tokens.back().is(NUMBER);
    Lexicon::Match match = lexicon.match(lower, at);
    if (match.length > 0 && match.word->uses == UNIT && !after_number) match = {};
    Formula formula = at_boundary(text, at) ? formula_at(rest) : Formula();
    const std::size_t number = is_digit(text[at]) ? number_length(rest) : 0;
    const bool spelled = formula.certain && formula.length >= match.length;  // NbO, not NBO
    if (match.length > 0 && !spelled && match.length >= std::max(formula.length, number)) {
      tokens.push_back(lexicon_token(rest, match, formula));
    } else if (formula.length > 0 && formula.length >= number) {
      const bool symbol = formula.symbols == 1 && formula.length <= 2;
      const bool starts = tokens.empty() || tokens.back().is(STOP);
      const bool doubtful = symbol && (starts || formula.length == 1);
      const bool known = !doubtful || at_hand.contains(formula.elements);
      tokens.push_back({rest.substr(0, formula.length), known ? NAME + 0U : NAME | UNKNOWN,
                        std::move(formula.elements), formula.certain});
    } else if (number > 0) {
      const bool share = text[at + number - 1] == '%';  // a dopant's share: "2% Al"
      tokens.push_back({rest.substr(0, number), share ? NUMBER | LINK : NUMBER + 0U});
    } else {
      tokens.push_back(other_token(text, at, at_hand));
    }
  }
  return tokens;
}

}  // namespace agent_modules
