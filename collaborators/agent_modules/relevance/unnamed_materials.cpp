#include "collaborators/agent_modules/relevance/unnamed_materials.hpp"

#include <algorithm>
#include <cstddef>

namespace agent_modules {
namespace {

using enum WordKind;

/// What a request names anywhere.
struct Named {
  bool molecule = false;
  bool solid = false;
  bool two = false;  // different materials, certain or not
};

Named named_anywhere(const RequestReading& reading) {
  Named named;
  const Elements* first = nullptr;
  for (const Mention& mention : reading.mentions) {
    if (mention.certain) (mention.sort == Sort::molecule ? named.molecule : named.solid) = true;
    if (mention.vague || reading.notes[mention.first].negated) continue;
    if (first == nullptr) first = &mention.elements;
    named.two |= mention.elements != *first;
  }
  return named;
}

// --- names near a word ---

bool names_material(const RequestReading& reading, std::size_t i) {
  const Mention* const mention = reading.mention(i);
  return mention != nullptr && (reading.word(i).is_file || !mention->vague);
}

/// Whether a material is named in the `count` words from word i on.
bool is_named_within(const RequestReading& reading, std::size_t i, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k)
    if (names_material(reading, i + k)) return true;
  return false;
}

/// Whether a name follows at word i, or after "of" or "is" there.
bool is_named_after(const RequestReading& reading, std::size_t i) {
  return names_material(reading, i) || (reading.is(i, namer) && is_named_within(reading, i + 1, 4));
}

/// Whether the material that word i (count words long) stands for is named beside it.
bool is_named_beside(const RequestReading& reading, std::size_t i, std::size_t count) {
  for (const std::size_t k : {i - 1, i - 2})
    if (reading.same_clause(i, k) && names_material(reading, k)) return true;
  return is_named_after(reading, i + count);
}

/// Whether what dopes, coats, ... is named: "Al-doped", "doped with Al".
bool has_agent(const RequestReading& reading, std::size_t i) {
  if (is_named_within(reading, i - 2, 2)) return true;
  for (std::size_t k = i + 1; k <= i + 6; ++k) {
    const bool leads_to_agent = reading.lower(k) == "with" || reading.lower(k) == "by";
    if (leads_to_agent && is_named_within(reading, k + 1, 2)) return true;
  }
  return false;
}

/// "FeNi alloy": the name says both.
bool is_named_mixture(const RequestReading& reading, std::size_t i) {
  if (!reading.lower(i).starts_with("alloy") && reading.lower(i) != "intermetallic") return false;
  for (const std::size_t k : {i - 1, i - 2})
    if (names_material(reading, k) && reading.mention(k)->elements.size() >= 2) return true;
  return false;
}

/// "my structure", "these two cells", but not "this cell of copper".
bool points_to_thing(const RequestReading& reading, std::size_t i) {
  for (const std::size_t k : {i + 1, i + 2}) {
    if (!reading.same_clause(i, k) || reading.mention(k) != nullptr || reading.is(k, not_of_it))
      return false;
    if (reading.is(k, thing)) return !is_named_after(reading, k + 1);
  }
  return false;
}

/// "with particles", "and a slab": one more than what has been named.
bool is_added(const RequestReading& reading, std::size_t i) {
  return reading.lower(i + 1) == "on" || reading.lower(i + 1) == "onto" ||
         reading.is(i - 1, adding) || (reading.is(i - 1, article) && reading.is(i - 2, adding));
}

/// A word such as "oxide" without its metal.
bool is_bare_anion(const RequestReading& reading, std::size_t i) {
  const NamedMaterial* const named = material_named(reading.lower(i));
  return named != nullptr && named->naming == Naming::anion && !is_named_beside(reading, i, 1);
}

bool stands_for_unnamed(const RequestReading& reading, std::size_t i, const Named& named) {
  if (reading.phrase(i, open) > 0) return reading.lower(i + 1) != "to";
  if (reading.notes[i].negated) return false;
  if (reading.is(i, owner) && points_to_thing(reading, i)) return true;
  const bool of_other_thing = reading.is(i - 1, not_of_it);
  const bool added = is_added(reading, i);
  const std::size_t count = reading.phrase(i, open_unless_named);
  if (count > 0 && !of_other_thing)
    return added ? !is_named_after(reading, i + count) : !is_named_beside(reading, i, count);
  if (reading.is(i, open_unless_molecule))
    return (!named.molecule || added) && !is_named_beside(reading, i, 1);
  if (reading.is(i, open_unless_solid))
    return (!named.solid || added) && !of_other_thing && !is_named_beside(reading, i, 1);
  if (reading.phrase(i, open_unless_two) > 0) return !named.two && !is_named_mixture(reading, i);
  if (reading.phrase(i, open_unless_agent) > 0) return !has_agent(reading, i);
  return is_bare_anion(reading, i);
}

std::size_t first_unnamed(const RequestReading& reading) {
  const Named named = named_anywhere(reading);
  for (std::size_t i = 0; i < reading.words.size(); ++i) {
    const RequestWord& word = reading.words[i];
    const Mention* const mention = reading.mention(i);
    const bool means_nothing = word.is_file || word.is_number || reading.notes[i].idiom;
    if (means_nothing || (mention != nullptr && !mention->vague)) continue;
    if (stands_for_unnamed(reading, i, named)) return i;
  }
  return NONE;
}

bool is_part(const RequestReading& reading, const Mention& mention) {
  const std::size_t next = mention.last + 1;
  const auto next_is = [&](auto... kinds) {
    return reading.same_clause(mention.last, next) && reading.is(next, kinds...);
  };
  if (reading.word(mention.first).has_plane) return false;
  if (next_is(unit_after)) return true;
  const bool molecule = mention.sort == Sort::molecule;
  if (next_is(open_unless_molecule, open_unless_solid)) return false;
  if (!molecule && mention.elements.size() > 1) return false;
  if (next_is(part_after) && (molecule || !next_is(link))) return true;
  const char end = reading.word(mention.last).text.back();
  if ((end == '+' || end == '-') && reading.is(next, link)) return true;
  constexpr std::size_t REACH = 3;  // "insert one more"
  for (std::size_t k = 1; k <= REACH && reading.same_clause(mention.first, mention.first - k); ++k)
    if (reading.is(mention.first - k, part_before)) return true;
  return false;
}

}  // namespace

std::string unnamed_material(const RequestReading& reading) {
  const std::size_t first = reading.open_at != NONE ? reading.open_at : first_unnamed(reading);
  if (first == NONE) return {};
  std::size_t count = 1;
  for (const WordKind kind : {open, open_unless_named, open_unless_two})
    count = std::max(count, reading.phrase(first, kind));
  return reading.text(first, first + count - 1);
}

bool names_only_parts(const RequestReading& reading) {
  bool found = false;
  for (const Mention& mention : reading.mentions) {
    if (!mention.certain || mention.elements.empty()) continue;
    if (reading.word(mention.first).is_file || !is_part(reading, mention)) return false;
    found = true;
  }
  return found;
}

}  // namespace agent_modules
