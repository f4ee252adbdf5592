#include "collaborators/agent_modules/relevance/request_reading.hpp"

#include <algorithm>
#include <utility>

namespace agent_modules {

Sort sort_of(const Elements& elements) {
  static const Elements molecular = {"H", "He", "C",  "N",  "O",  "F", "Ne", "P",
                                     "S", "Cl", "Ar", "Br", "Kr", "I", "Xe"};
  return std::includes(molecular.begin(), molecular.end(), elements.begin(), elements.end())
             ? Sort::molecule
             : Sort::solid;
}

RequestReading::RequestReading(std::string_view request)
    : words(request_words(request)), notes(words.size()), capitals(is_in_capitals(words)) {}

const RequestWord& RequestReading::word(std::size_t i) const {
  static const RequestWord none{.text = {}, .lower = {}, .clause = NONE};
  return i < words.size() ? words[i] : none;
}

const Mention* RequestReading::mention(std::size_t i) const {
  return i < notes.size() && notes[i].mention != NONE ? &mentions[notes[i].mention] : nullptr;
}

std::string RequestReading::text(std::size_t first, std::size_t last) const {
  std::string joined = word(first).text;
  for (std::size_t i = first + 1; i <= last; ++i) joined += word(i).before + word(i).text;
  return joined;
}

std::size_t RequestReading::phrase(std::size_t i, WordKind kind) const {
  return longest_phrase(i, [&](std::string_view text) { return is_kind(text, kind); });
}

void RequestReading::add(Mention mention) {
  for (std::size_t i = mention.first; i <= mention.last; ++i) notes[i].mention = mentions.size();
  mentions.push_back(std::move(mention));
}

void RequestReading::doubt(std::size_t i) {
  if (mention(i) != nullptr) mentions[notes[i].mention].certain = false;
}

void RequestReading::leave_open(std::size_t i) {
  if (open_at == NONE) open_at = i;
}

}  // namespace agent_modules
