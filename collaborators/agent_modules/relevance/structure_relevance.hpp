// Whether a structure has to do with what the user asked for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "collaborators/collaborators.hpp"

namespace agent_modules {

inline constexpr std::string_view ROLE_REQUESTED = "requested";  ///< the material asked for
inline constexpr std::string_view ROLE_RELATED = "related";      ///< shares elements with it
inline constexpr std::string_view ROLE_UNRELATED = "unrelated";  ///< plainly something else
inline constexpr std::string_view ROLE_UNKNOWN = "unknown";      ///< nothing can be said

/// Judges each source entry against a free-text request in English, by the elements, formulas,
/// material names and file names that the request mentions; one verdict each, in order, with the
/// entry's "path" as its source. Only a structure that shares no element with a material which the
/// request names with certainty, and whose file it does not mention, is unrelated with a confidence
/// of 0.8 or more. `state` is not used.
structure_ingest::RelevanceReport assess_structure_relevance(
    const std::vector<structure_ingest::Json>& entries, const std::string& request,
    const structure_ingest::Json& state);

}  // namespace agent_modules
