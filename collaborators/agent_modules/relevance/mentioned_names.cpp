#include "collaborators/agent_modules/relevance/mentioned_names.hpp"

#include <cstddef>
#include <map>
#include <vector>

#include "collaborators/agent_modules/relevance/plain_letters.hpp"
#include "structure_ingest/base/text.hpp"

namespace agent_modules {
namespace {

/// The words of a name or text in lower case: runs of letters and digits.
std::vector<std::string> plain_words(std::string_view text) {
  std::vector<std::string> words(1);
  for (const char c : structure_ingest::internal::lower_cased(text)) {
    if (is_lower(c) || is_digit(c) || static_cast<unsigned char>(c) >= 0x80) {
      words.back() += c;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) words.pop_back();
  return words;
}

std::string joined(const std::vector<std::string>& words, std::size_t first, std::size_t count) {
  std::string text;
  for (std::size_t i = first; i < first + count; ++i) text += words[i] + ' ';
  return text;
}

}  // namespace

std::set<std::string> mentioned_names(std::string_view request,
                                      const std::set<std::string>& names) {
  std::multimap<std::string, std::string> name_of;
  std::set<std::size_t> lengths;
  for (const std::string& name : names) {
    const std::vector<std::string> words = plain_words(name);
    if (words.empty()) continue;
    name_of.emplace(joined(words, 0, words.size()), name);
    lengths.insert(words.size());
  }
  std::set<std::string> mentioned;
  const std::vector<std::string> words = plain_words(request);
  for (std::size_t first = 0; first < words.size(); ++first) {
    for (const std::size_t length : lengths) {
      if (first + length > words.size()) break;
      const auto [begin, end] = name_of.equal_range(joined(words, first, length));
      for (auto found = begin; found != end; ++found) mentioned.insert(found->second);
    }
  }
  return mentioned;
}

}  // namespace agent_modules
