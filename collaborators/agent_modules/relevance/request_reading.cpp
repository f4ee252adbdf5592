#include "collaborators/agent_modules/relevance/request_reading.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

#include "collaborators/agent_modules/relevance/request_tokens.hpp"

// Goes over the tokens of the request once. A name becomes a mention, an object unless a
// preposition or a following word links it as a partner, place, medium, tool or example;
// is_linked() searches from the name back to the nearest such word, across adjectives, numbers and
// lists. A token that is not understood makes the whole request unclear. So does a word for a
// process between two materials of which fewer than two groups are named, since the unnamed one may
// be any structure.
namespace agent_modules {
namespace {

class Reader {
 public:
  Reader(std::string_view text, const Lexicon& lexicon, const std::set<Elements>& at_hand)
      : text_(text), tokens_(tokens_of(text, lexicon, at_hand)) {}

  RequestReading read() {
    std::set<Elements> named;
    std::size_t groups = 0;
    bool guest = false;
    bool object = false;
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
      const Token& token = tokens_[i];
      reading_.possible.insert(token.possible.begin(), token.possible.end());
      reading_.guessed |= token.is(ENDING);
      reading_.pair |= token.is(PAIR | BETWEEN);
      guest |= token.is(PAIR);
      if (!is_understood(i)) mark_unclear(token);
      if (!token.is(NAME)) continue;
      const bool linked = is_linked(i);
      const bool medium = linked && is_fluid(token.elements);
      groups += !medium && starts_group(i);
      const bool is_object = !linked && !token.ambiguous;
      object |= is_object;
      named.insert(token.elements);
      reading_.mentions.push_back(
          {std::string(token.text), token.elements, token.certain, is_object});
    }
    for (const Token& token : tokens_)
      if ((token.is(PAIR) && (groups < 2 || !object)) ||
          (token.is(BETWEEN) && (named.size() < 2 || guest)))
        mark_unclear(token);
    // All materials in a process are its objects, whatever the preposition before them.
    for (Mention& mention : reading_.mentions)
      mention.object |= reading_.pair && reading_.unclear.empty();
    return std::move(reading_);
  }

 private:
  bool is_understood(std::size_t i) const {
    const Token& token = tokens_[i];
    if (token.is(UNKNOWN | UNNAMED)) return token.is(NAME) && is_part_of_another(token);
    if (token.is(OWN) && reading_.mentions.empty()) return false;
    return !token.is(FORM) || has_material_beside(i);
  }

  /// Whether a symbol must mean an element of another named material: "Na mobility in Na3PS4".
  bool is_part_of_another(const Token& symbol) const {
    return std::any_of(tokens_.begin(), tokens_.end(), [&](const Token& token) {
      return token.certain && token.elements.contains(*symbol.elements.begin());
    });
  }

  void mark_unclear(const Token& token) {
    const auto at = static_cast<std::size_t>(token.text.data() - text_.data());
    if (!reading_.unclear.empty() && reading_.understood <= at) return;
    reading_.unclear = token.text;
    reading_.understood = at;
  }

  /// The nearest token before (`step` -1) or after (1) the one at `i` that has no use in `skipped`.
  /// A name, or a word that links what stands before it, is never skipped.
  const Token* neighbour(std::size_t i, int step, unsigned skipped) const {
    const auto next =
        static_cast<std::size_t>(step);  // before the first token, `i` wraps past the end
    for (i += next; i < tokens_.size(); i += next)
      if (tokens_[i].is(NAME | AFTER) || !tokens_[i].is(skipped)) return &tokens_[i];
    return nullptr;
  }

  /// Whether a material stands beside a form, as in "TiO2 slab" or "slab of bulk TiO2".
  bool has_material_beside(std::size_t i) const {
    for (const int step : {-1, 1}) {
      const Token* const found = neighbour(i, step, ADJECTIVE | NUMBER | FORM | OF);
      if (found != nullptr && found->is(NAME)) return true;
    }
    return false;
  }

  /// Whether the name at `i` starts a group and is not a further item of a list, as "NO" in "CO and
  /// NO adsorption".
  bool starts_group(std::size_t i) const {
    bool joined = false;
    for (std::size_t j = i; j-- > 0;) {
      const Token& token = tokens_[j];
      if (token.is(LINK | HOST | AFTER)) return true;
      if (token.is(NAME)) return !joined;
      joined |= token.is(JOIN | STOP);
    }
    return true;
  }

  /// Whether the material is linked as a partner, place or medium: "on clean Cu(111)", "in water
  /// and ethanol".
  bool is_linked(std::size_t i) const {
    const Token* const after = neighbour(i, 1, NUMBER | FORM);
    if (after != nullptr && after->is(AFTER)) return true;
    bool type = i + 1 < tokens_.size() && tokens_[i + 1].is(FORM | TYPE);
    // "Rutile structure" may be the structure of any material; "TiO2 structure" means TiO2.
    if (type && tokens_[i + 1].is(TYPE) && formula_at(tokens_[i].text).length == 0) return true;
    for (std::size_t j = i; j-- > 0;) {
      const Token& token = tokens_[j];
      if (token.is(HOST)) return type || is_fluid(tokens_[i].elements);
      if (token.is(LINK)) return true;
      if (token.is(OF) && j > 0 && tokens_[j - 1].is(LINK)) return true;  // "as for silicon"
      type |= token.is(FORM | TYPE);
      if (token.is(NAME | ADJECTIVE | NUMBER | FORM | TYPE)) continue;
      const bool joins = token.is(JOIN) && j > 0 && tokens_[j - 1].is(NAME | NUMBER | FORM);
      if (!joins) return false;
    }
    return false;
  }

  std::string_view text_;
  std::vector<Token> tokens_;
  RequestReading reading_;
};

}  // namespace

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

RequestReading read_request(std::string_view request, const Lexicon& lexicon,
                            const std::set<Elements>& at_hand) {
  return Reader(request, lexicon, at_hand).read();
}

}  // namespace agent_modules
