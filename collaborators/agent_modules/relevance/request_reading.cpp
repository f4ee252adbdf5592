#include "collaborators/agent_modules/relevance/request_reading.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <set>
#include <utility>

#include "structure_ingest/base/text.hpp"
#include "structure_ingest/record/chemistry.hpp"

namespace agent_modules {
namespace {

using structure_ingest::internal::canonical_symbol;
using structure_ingest::internal::character_at;
using structure_ingest::internal::lower_cased;

/// A word, phrase, number or sign of the request.
struct Token {
  std::string_view text;
  unsigned uses = 0;
  std::size_t mention = 0;  // index, of a NAME

  bool is(unsigned use) const { return (uses & use) != 0; }
};

constexpr std::size_t LONGEST_DOUBTFUL = 2;  // of words such as "In" and "HF"

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// `text` in lower case, each character in as many bytes as before, hyphens inside words as blanks.
std::string folded(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = character_at(text, at).length;
    const std::string_view character = text.substr(at, length);
    const std::string lower = lower_cased(character);
    const bool hyphen =
        character == "-" && at > 0 && in_word(text, at - 1) && in_word(text, at + 1);
    result += hyphen ? " " : lower.size() == length ? std::string_view(lower) : character;
    at += length;
  }
  return result;
}

/// The length of a number with its signs and unit at the front of `text`: 4x4x1, (111), 1e-6, 300K.
/// Longer words, as in 2-butanol, do not belong to it.
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

/// The sign at `at`: a stop, a comma or slash that joins, or one that says nothing.
unsigned sign_use(std::string_view text, std::size_t at) {
  const std::string_view sign = text.substr(at, character_at(text, at).length);
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

/// Whether what holds only these elements is a gas, a liquid or a molecule rather than a solid.
bool is_fluid(const Elements& elements) {
  constexpr std::array<std::string_view, 14> NONMETALS = {"H",  "C",  "N", "O",  "F",  "P",  "S",
                                                          "Cl", "Br", "I", "He", "Ne", "Ar", "Xe"};
  if (elements.size() == 1 &&
      (elements.contains("C") || elements.contains("P") || elements.contains("S")))
    return false;
  return std::all_of(elements.begin(), elements.end(), [&](const std::string& element) {
    return std::find(NONMETALS.begin(), NONMETALS.end(), element) != NONMETALS.end();
  });
}

/// The elements of a word in any letter case, such as "tio2" or "NACL", read as a formula of at
/// least two symbols, where two letters make one symbol if they can; empty when there is no such
/// reading.
Elements elements_in_any_case(std::string_view word, std::size_t symbols = 0) {
  constexpr std::size_t LONGEST = 16;
  if (word.size() > LONGEST) return {};
  for (const std::size_t length : {std::size_t{2}, std::size_t{1}}) {
    if (length > word.size()) continue;
    std::string symbol = canonical_symbol(word.substr(0, length));
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

class Reader {
 public:
  Reader(std::string_view text, const Lexicon& lexicon, const std::set<Elements>& at_hand)
      : text_(text), lexicon_(lexicon), at_hand_(at_hand) {}

  RequestReading read() {
    const std::string lower = folded(text_);
    for (std::size_t at = 0; at < text_.size();) at += add_token(lower, at);
    for (std::size_t i = 0; i < tokens_.size(); ++i) weigh(i);
    std::set<Elements> named;
    for (const Mention& mention : reading_.mentions) named.insert(mention.elements);
    for (const Token& token : tokens_) {
      if (!token.is(PAIR)) continue;
      reading_.pair = true;
      if (named.size() < 2) call_unclear(token);
    }
    // What takes part in a process is its object, wherever it stands.
    for (Mention& mention : reading_.mentions) mention.object |= reading_.pair;
    return std::move(reading_);
  }

 private:
  /// Adds what stands at `at`, and returns how many bytes it takes.
  std::size_t add_token(const std::string& lower, std::size_t at) {
    const bool word_starts = at_boundary(text_, at);
    Lexicon::Match match = lexicon_.match(lower, at);
    if (match.length > 0 && match.word->uses == UNIT && !follows_number()) match = {};
    const Formula formula = word_starts ? formula_at(text_.substr(at)) : Formula();
    const std::size_t number = is_digit(text_[at]) ? number_length(text_.substr(at)) : 0;
    if (match.length >= std::max({formula.length, number, std::size_t{1}})) {
      const Word& word = *match.word;
      if (!word.elements.empty())
        add_mention(at, match.length, {{}, word.elements, !word.ambiguous, false});
      if (formula.length == match.length && formula.length <= LONGEST_DOUBTFUL && word.uses != UNIT)
        reading_.possible.insert(formula.elements.begin(), formula.elements.end());
      if (word.elements.empty())
        tokens_.push_back({text_.substr(at, match.length), word.uses});
      else
        tokens_.back().uses |= word.uses & ADJECTIVE;
      return match.length;
    }
    if (formula.length > 0 && formula.length >= number) {
      const bool bare = formula.symbols == 1 && formula.length <= 2;
      const bool starts = tokens_.empty() || tokens_.back().is(STOP);
      const bool doubtful = bare && (starts || formula.length == 1);
      add_mention(at, formula.length, {{}, formula.elements, formula.certain, false});
      if (doubtful && !at_hand_.contains(formula.elements)) tokens_.back().uses |= UNKNOWN;
      return formula.length;
    }
    if (number > 0) {
      const bool share = text_[at + number - 1] == '%';  // of a dopant: "2% Al"
      tokens_.push_back({text_.substr(at, number), share ? NUMBER | LINK : NUMBER});
      return number;
    }
    std::size_t length = character_at(text_, at).length;
    unsigned use = UNKNOWN;
    if (in_word(text_, at)) {
      while (in_word(text_, at + length)) ++length;
      const Elements elements = elements_in_any_case(text_.substr(at, length));
      if (word_starts && at_hand_.contains(elements)) {
        add_mention(at, length, {{}, elements, false, false});
        return length;
      }
    } else {
      use = sign_use(text_, at);
    }
    if (use != 0) tokens_.push_back({text_.substr(at, length), use});
    return length;
  }

  void add_mention(std::size_t at, std::size_t length, Mention mention) {
    mention.text = text_.substr(at, length);
    tokens_.push_back({text_.substr(at, length), NAME, reading_.mentions.size()});
    reading_.mentions.push_back(std::move(mention));
  }

  bool follows_number() const { return !tokens_.empty() && tokens_.back().is(NUMBER); }

  void weigh(std::size_t i) {
    const Token& token = tokens_[i];
    if (token.is(UNKNOWN | UNNAMED)) call_unclear(token);
    if (token.is(OWN) && std::none_of(static_cast<const Token*>(tokens_.data()), &token,
                                      [](const Token& t) { return t.is(NAME); }))
      call_unclear(token);
    if (token.is(FORM) && !has_material_beside(i)) call_unclear(token);
    if (token.is(NAME)) reading_.mentions[token.mention].object = !is_linked(i);
  }

  void call_unclear(const Token& token) {
    const auto at = static_cast<std::size_t>(token.text.data() - text_.data());
    if (!reading_.unclear.empty() && reading_.understood <= at) return;
    reading_.unclear = token.text;
    reading_.understood = at;
  }

  /// The nearest token before (`step` -1) or after (1) the one at `i` that is none of `skipped`.
  const Token* beside(std::size_t i, int step, unsigned skipped) const {
    for (i += static_cast<std::size_t>(step); i < tokens_.size();
         i += static_cast<std::size_t>(step))
      if (tokens_[i].is(NAME) || !tokens_[i].is(skipped)) return &tokens_[i];
    return nullptr;
  }

  /// "TiO2 slab", "slab of bulk TiO2".
  bool has_material_beside(std::size_t i) const {
    for (const int step : {-1, 1}) {
      const Token* const found = beside(i, step, ADJECTIVE | NUMBER | FORM | OF);
      if (found != nullptr && found->is(NAME)) return true;
    }
    return false;
  }

  /// Whether a preposition makes the material a partner: "on clean Cu(111)", "in water and
  /// ethanol".
  bool is_linked(std::size_t i) const {
    const Token* const after = beside(i, 1, NUMBER | FORM);
    if (after != nullptr && after->is(AFTER)) return true;
    bool type = i + 1 < tokens_.size() && tokens_[i + 1].is(FORM | TYPE);
    for (std::size_t j = i; j-- > 0;) {
      const Token& token = tokens_[j];
      if (token.is(HOST)) return type || is_fluid(reading_.mentions[tokens_[i].mention].elements);
      if (token.is(LINK)) return true;
      type |= token.is(FORM | TYPE);
      if (token.is(NAME | ADJECTIVE | NUMBER | FORM | TYPE)) continue;
      const bool joins = token.is(JOIN) && j > 0 && tokens_[j - 1].is(NAME | NUMBER | FORM);
      if (!joins) return false;
    }
    return false;
  }

  std::string_view text_;
  const Lexicon& lexicon_;
  const std::set<Elements>& at_hand_;
  std::vector<Token> tokens_;
  RequestReading reading_;
};

}  // namespace

RequestReading read_request(std::string_view request, const Lexicon& lexicon,
                            const std::set<Elements>& at_hand) {
  return Reader(request, lexicon, at_hand).read();
}

}  // namespace agent_modules
