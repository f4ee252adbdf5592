// What leaves a request open: words that stand for materials without their names.
#pragma once

#include <string>

#include "collaborators/agent_modules/relevance/request_reading.hpp"

namespace agent_modules {

/// The first such word of a request, as written ("substrate"); empty for none.
std::string unnamed_material(const RequestReading& reading);

/// Whether all that is named with certainty are parts of a structure (oxygen vacancy) or guests on
/// one (water dissociation), so that the structure itself has no name.
bool names_only_parts(const RequestReading& reading);

}  // namespace agent_modules
