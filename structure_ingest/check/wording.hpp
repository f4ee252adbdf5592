// Parts of messages, and of the texts that they are about.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/words.hpp"

namespace structure_ingest::internal {

/// A number with four significant digits: "3.142", "1e+20".
std::string number_text(double value);

/// The lines of `text`, ended by a line feed, a carriage return or both; at most `most` of them.
std::vector<std::string_view> lines_of(std::string_view text, std::size_t most);

/// The tokens of one line, at most `most`.
std::vector<std::string_view> tokens_of(std::string_view line, std::size_t most);

/// `text` in the quoted form, shortened for a message.
std::string shown(std::string_view text);

/// "Fe2O3" with the elements in ascending order and fractional counts with up to three digits.
std::string composition_text(const std::map<std::string, double>& composition);

/// "'Fe1', 'Fe2' and 3 more": the first few of a list.
std::string first_of(const std::vector<std::string>& items, std::size_t most = 3);

}  // namespace structure_ingest::internal
