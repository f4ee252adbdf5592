#include "collaborators/agent_modules/relevance/requested_material.hpp"

#include <algorithm>
#include <cstddef>
#include <set>

#include "collaborators/agent_modules/relevance/material_mentions.hpp"
#include "collaborators/agent_modules/relevance/unnamed_materials.hpp"

namespace agent_modules {
namespace {

using enum WordKind;

/// "MgO in the diamond structure", "perovskite-like": types of structures rather than materials.
void doubt_structure_types(RequestReading& reading) {
  for (Mention& mention : reading.mentions) {
    const std::size_t next = mention.last + 1;
    if (!reading.same_clause(mention.last, next)) continue;
    const Mention* const following = reading.mention(next);
    const bool type = reading.is(next, type_marker);
    const bool any_type = reading.is(next, any_type_marker);
    const bool joined = type || reading.word(next).before == '-';
    if ((any_type && joined) ||
        (mention.prototype && (type || any_type || (following != nullptr && following->certain))))
      mention.certain = false;
  }
}

/// Whether word i makes its clause an example: "as for MgO", but not "I would like to".
bool is_reference(const RequestReading& reading, std::size_t i) {
  if (reading.mention(i) != nullptr || reading.phrase(i, reference) == 0) return false;
  return reading.lower(i) != "like" ||
         (reading.lower(i + 1) != "to" && reading.lower(i + 1) != "you" &&
          !reading.is(i - 1, wish) && reading.word(i).before != '-');
}

void negate(RequestReading& reading, std::size_t begin, std::size_t end) {
  for (std::size_t i = begin; i < end; ++i) {
    reading.notes[i].negated = true;
    reading.doubt(i);
  }
}

void doubt_in_clause(RequestReading& reading, std::size_t begin, std::size_t end, bool by_example) {
  constexpr std::size_t REACH_OF_NO = 4;
  std::size_t negated_from = end;
  std::size_t dismissed_to = begin;
  for (std::size_t i = begin; i < end; ++i) {
    if (reading.phrase(i, short_negation) > 0)
      negate(reading, i + 1, std::min(end, i + 1 + REACH_OF_NO));
    if (reading.phrase(i, negation) > 0 || reading.lower(i).ends_with("n't"))
      negated_from = std::min(negated_from, i);
    if (reading.phrase(i, dismissal) > 0) dismissed_to = i;
    if (by_example && is_reference(reading, i)) {
      for (std::size_t k = begin; k < end; ++k) reading.doubt(k);
      return;
    }
  }
  negate(reading, begin, dismissed_to);
  negate(reading, negated_from, end);
}

void doubt_by_clauses(RequestReading& reading) {
  // Next to a file name, "as in" and the like point to the file rather than to another task.
  const auto& words = reading.words;
  const bool by_example =
      std::none_of(words.begin(), words.end(), [](const auto& word) { return word.is_file; });
  for (std::size_t begin = 0, end = 0; begin < words.size(); begin = end) {
    while (end < words.size() && reading.same_clause(begin, end)) ++end;
    doubt_in_clause(reading, begin, end, by_example);
  }
}

}  // namespace

RequestedMaterials requested_materials(std::string_view request) {
  RequestReading reading = read_mentions(request);
  doubt_structure_types(reading);
  doubt_by_clauses(reading);
  RequestedMaterials result;
  std::set<Elements> seen;
  for (const Mention& mention : reading.mentions) {
    result.elements.insert(mention.elements.begin(), mention.elements.end());
    if (!mention.certain || mention.elements.empty()) continue;
    if (seen.insert(mention.elements).second)
      result.certain.push_back({reading.text(mention.first, mention.last), mention.elements});
  }
  result.unnamed = unnamed_material(reading);
  result.only_parts = names_only_parts(reading);
  return result;
}

}  // namespace agent_modules
