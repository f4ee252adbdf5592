// The materials that a request mentions, by names, formulas, symbols and file names.
#pragma once

#include <string_view>

#include "collaborators/request_reading.hpp"

namespace qelda_agent {

/// Finds the mentions of a request, and words that seem to name a material that no table knows.
RequestReading read_mentions(std::string_view request);

}  // namespace qelda_agent
