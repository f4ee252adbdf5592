// Element symbols and formulas among the words of a request, and what only looks like them.
#pragma once

#include <cstddef>
#include <string_view>

#include "collaborators/agent_modules/relevance/request_reading.hpp"

namespace agent_modules {

/// Reads a word that is in no table of names; adds the mention it is, if it is any.
void read_symbols(RequestReading& reading, std::size_t i);

/// Whether `text` is a formula whose capitals were left out, and can be nothing else.
bool is_formula_in_lower_case(std::string_view text);

}  // namespace agent_modules
