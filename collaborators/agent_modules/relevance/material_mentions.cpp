#include "collaborators/agent_modules/relevance/material_mentions.hpp"

#include <algorithm>
#include <utility>

#include "collaborators/agent_modules/relevance/plain_letters.hpp"
#include "collaborators/agent_modules/relevance/symbol_mentions.hpp"
#include "structure_ingest/base/text.hpp"

namespace agent_modules {
namespace {

using enum WordKind;

void read_file(RequestReading& reading, std::size_t i) {
  std::string stem = structure_ingest::internal::lower_cased(file_stem(reading.word(i).text));
  const NamedMaterial* const named = material_named(stem);
  Mention mention{.first = i, .last = i, .certain = true};
  if (named != nullptr && !named->capitals && named->naming == Naming::certain) {
    mention.elements = named->elements;
    mention.sort = named->sort;
  } else if (is_formula_in_lower_case(stem)) {
    mention.elements = elements_in_any_case(stem);
    mention.sort = sort_of(mention.elements);
  } else {
    mention.certain = false;
    std::replace_if(
        stem.begin(), stem.end(), [](char c) { return is_one_of(c, "_-."); }, ' ');
    for (const RequestWord& part : request_words(stem)) {
      mention.elements.merge(elements_in_any_case(part.text));
      if (const NamedMaterial* const part_named = material_named(part.lower))
        mention.elements.insert(part_named->elements.begin(), part_named->elements.end());
    }
  }
  reading.add(std::move(mention));
}

bool has_capitals(std::string_view text) {
  return std::count_if(text.begin(), text.end(), is_upper) >= 2;
}

/// Mercury in the middle of a sentence, Silver Spring.
bool is_in_proper_name(const RequestReading& reading, std::size_t first, std::size_t last) {
  const RequestWord& word = reading.word(first);
  if (reading.capitals || !is_upper(word.text[0]) || has_capitals(word.text)) return false;
  if (reading.is(first, proper_name) && !word.starts_sentence) return true;
  const RequestWord& next = reading.word(last + 1);
  constexpr std::size_t SHORTEST = 4;
  return next.clause == word.clause && next.before == ' ' && next.text.size() >= SHORTEST &&
         is_upper(next.text[0]) && is_lower(next.text[1]) &&
         !reading.is(last + 1, eponym, matter) && material_named(next.lower) == nullptr;
}

/// Whether an ambiguous element name (lead) is meant as the element.
bool is_element_in_context(const RequestReading& reading, std::size_t i) {
  const RequestWord& word = reading.word(i);
  if (word.lower != "lead") return false;
  const NamedMaterial* const next = material_named(reading.lower(i + 1));
  return word.has_state || word.has_plane || reading.is(i - 1, before_lead) ||
         reading.is(i + 1, matter) || (next != nullptr && next->naming == Naming::anion);
}

void read_name(RequestReading& reading, std::size_t first, std::size_t last,
               const NamedMaterial& named) {
  Mention mention{.first = first, .last = last, .elements = named.elements};
  const Mention* const cation = reading.mention(first - 1);
  if (named.naming == Naming::anion && cation != nullptr && reading.same_clause(first, first - 1)) {
    mention.first = cation->first;
    mention.elements.insert(cation->elements.begin(), cation->elements.end());
    mention.certain = true;
    mention.sort = sort_of(mention.elements);
    reading.mentions.pop_back();  // the compound takes its place
  } else {
    const bool certain = named.naming == Naming::certain || is_element_in_context(reading, first);
    mention.certain = certain && !is_in_proper_name(reading, first, last) &&
                      !reading.is(last + 1, ordinary_after);
    mention.vague = !certain;
    mention.prototype = named.prototype;
    mention.sort = named.sort;
  }
  reading.add(std::move(mention));
}

/// Reads what begins at word i; returns how many words that are.
std::size_t read_at(RequestReading& reading, std::size_t i) {
  if (reading.word(i).is_file) {
    read_file(reading, i);
    return 1;
  }
  if (const std::size_t count = reading.phrase(i, idiom); count > 0) {
    for (std::size_t k = i; k < i + count; ++k) reading.notes[k].idiom = true;
    return count;
  }
  const NamedMaterial* named = nullptr;
  const std::size_t count = reading.longest_phrase(i, [&](std::string_view name) {
    named = material_named(name);
    return named != nullptr && (!named->capitals || has_capitals(reading.word(i).text));
  });
  if (count > 0) {
    read_name(reading, i, i + count - 1, *named);
    return count;
  }
  read_symbols(reading, i);
  return 1;
}

}  // namespace

RequestReading read_mentions(std::string_view request) {
  RequestReading reading(request);
  for (std::size_t i = 0; i < reading.words.size();) i += read_at(reading, i);
  return reading;
}

}  // namespace agent_modules
