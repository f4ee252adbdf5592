// The materials that a request mentions, by names, formulas, symbols and file names.
#pragma once

#include <string_view>

#include "collaborators/agent_modules/relevance/request_reading.hpp"

namespace agent_modules {

/// Finds the mentions of a request, and words that seem to name a material that no table knows.
RequestReading read_mentions(std::string_view request);

}  // namespace agent_modules
