// Parts of messages, and of the texts that they are about.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

/// Whether the first character of `text` is one of these.
inline bool begins_with(std::string_view text, std::string_view characters) {
  return !text.empty() && characters.find(text.front()) != std::string_view::npos;
}

/// The capital letter at the front of a text, and the small letter behind it if there is one.
std::string_view leading_symbol(std::string_view text);

/// A number with four significant digits: "3.142", "1e+20".
std::string number_text(double value);

/// The lines of `text`, ended by a line feed, a carriage return or both; at most `most` of them.
std::vector<std::string_view> lines_of(std::string_view text, std::size_t most);

/// The tokens of one line, at most `most`.
std::vector<std::string_view> tokens_of(std::string_view line, std::size_t most);

/// The beginning of `text` in quotes, with dots where more follows.
std::string excerpt(std::string_view text);

/// `text` without blanks around it and without these characters at its end.
std::string without_end(std::string_view text, std::string_view characters);

/// "Fe2O3" with the elements in ascending order and fractional counts with up to three digits.
std::string composition_text(const std::map<std::string, double>& composition);

/// "'Fe1', 'Fe2' and 3 more": the first few of a list.
std::string listed(const std::vector<std::string>& items, std::size_t most = 3);

}  // namespace structure_ingest::internal
