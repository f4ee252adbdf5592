#include "collaborators/agent_modules/relevance/lexicon.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace agent_modules {

std::string_view embedded_text(std::string_view file_name);  // see cmake/embed.cmake

namespace {

constexpr std::array<std::string_view, 7> LANGUAGES = {"en", "de", "fr", "es", "zh", "ja", "ru"};
constexpr std::size_t LONGEST_ENTRY = 72;

constexpr std::pair<std::string_view, unsigned> USES[] = {
    {"plain:", PLAIN}, {"adjective:", ADJECTIVE}, {"ending:", ENDING},  {"unit:", UNIT},
    {"link:", LINK},   {"host:", HOST},           {"after:", AFTER},    {"of:", OF},
    {"own:", OWN},     {"join:", JOIN},           {"form:", FORM},      {"type:", TYPE},
    {"pair:", PAIR},   {"between:", BETWEEN},     {"unnamed:", UNNAMED}};

/// Removes the text before the next `separator` from `rest`, with the separator.
std::string_view next_part(std::string_view& rest, char separator) {
  const std::size_t length = std::min(rest.find(separator), rest.size());
  const std::string_view part = rest.substr(0, length);
  rest.remove_prefix(std::min(length + 1, rest.size()));
  return part;
}

/// The end of the word that contains `at`.
std::size_t word_end(std::string_view text, std::size_t at) {
  while (in_word(text, at)) ++at;
  return at;
}

/// Whether this may be an ending of a name: a plural or a case, but not a second word.
bool is_name_ending(std::string_view ending, std::string_view language) {
  constexpr std::size_t LONGEST_CASE = 6;  // three Cyrillic letters
  if (language == "ru") return ending.size() <= LONGEST_CASE;
  constexpr std::array<std::string_view, 8> ENDINGS = {"", "s", "es", "n", "en", "e", "er", "x"};
  return std::find(ENDINGS.begin(), ENDINGS.end(), ending) != ENDINGS.end();
}

}  // namespace

Lexicon::Lexicon(std::string_view language) : language_(language) {
  read_words();
  read_names(embedded_text("common_names.tsv"));
}

void Lexicon::add(std::string_view entry, unsigned use, const Elements* elements) {
  const bool ambiguous = entry.ends_with('?');
  if (ambiguous) entry.remove_suffix(1);
  const bool stem = entry.ends_with('*');
  if (stem) entry.remove_suffix(1);
  std::string key(entry);
  std::replace(key.begin(), key.end(), '_', ' ');
  if (use == ENDING) {
    endings_.push_back(std::move(key));
    return;
  }
  Word& word = (stem ? stems_ : words_)[std::move(key)];
  word.uses |= use;
  if (elements == nullptr) return;
  word.elements = *elements;
  word.ambiguous = ambiguous;
}

/// Parses words.txt: a line such as "en plain:", and the words of that use indented below it.
void Lexicon::read_words() {
  unsigned use = 0;  // of the following words; none in other languages
  for (std::string_view rest = embedded_text("words.txt"); !rest.empty();) {
    std::string_view line = next_part(rest, '\n');
    if (!line.starts_with(' ')) {
      const std::string_view of = next_part(line, ' ');
      const auto* const known = std::find_if(std::begin(USES), std::end(USES),
                                             [&](const auto& u) { return u.first == line; });
      const bool wanted = known != std::end(USES) && (of == language_ || of == "any");
      use = wanted ? known->second : 0;
      continue;
    }
    while (use != 0 && !line.empty())
      if (const std::string_view entry = next_part(line, ' '); !entry.empty())
        add(entry, use, nullptr);
  }
}

/// Parses the table of names: a formula, and a column for each language.
void Lexicon::read_names(std::string_view table) {
  std::size_t column = 0;
  while (!table.empty()) {
    std::string_view line = next_part(table, '\n');
    if (line.starts_with('#')) continue;
    std::vector<std::string_view> cells;
    while (!line.empty()) cells.push_back(next_part(line, '\t'));
    if (column == 0) {
      column = static_cast<std::size_t>(std::find(cells.begin(), cells.end(), language_) -
                                        cells.begin());
    } else if (column < cells.size()) {
      const Elements elements = formula_at(cells[0]).elements;
      for (std::string_view names = cells[column]; !names.empty();)
        add(next_part(names, '|'), 0, &elements);
    }
  }
}

Lexicon::Match Lexicon::match(std::string_view text, std::size_t at) const {
  constexpr std::size_t SHORTEST_PART = 4;
  for (std::size_t length = std::min(LONGEST_ENTRY, text.size() - at); length > 0; --length) {
    const std::string key(text.substr(at, length));
    const std::size_t end = at + length;
    if (const auto word = words_.find(key); word != words_.end() && at_boundary(text, end))
      return {length, &word->second};
    const auto stem = stems_.find(key);
    if (stem == stems_.end()) continue;
    const std::size_t whole = word_end(text, end);
    if (stem->second.elements.empty() || is_name_ending(text.substr(end, whole - end), language_))
      return {whole - at, &stem->second};
    // A compound such as "Wassermolekül".
    if (language_ != "de") continue;
    for (const std::string_view linking : {"", "s"}) {
      if (!text.substr(end).starts_with(linking)) continue;
      const Match part = match(text, end + linking.size());
      if (part.length >= SHORTEST_PART && part.word->elements.empty() &&
          (part.word->uses & (PLAIN | FORM)) != 0)
        return {length + linking.size(), &stem->second};
    }
  }
  const std::size_t end = word_end(text, at);
  for (const std::string& ending : endings_)
    if (end - at >= ending.size() + SHORTEST_PART && text.substr(0, end).ends_with(ending))
      return {end - at, &plain_};
  return {};
}

const std::vector<Lexicon>& lexicons() {
  static const std::vector<Lexicon> all(LANGUAGES.begin(), LANGUAGES.end());
  return all;
}

}  // namespace agent_modules
