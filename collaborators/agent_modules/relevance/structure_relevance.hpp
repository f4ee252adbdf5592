// Decides whether a structure is relevant to the user's request.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/contracts/collaborators.hpp"

namespace agent_modules {

inline constexpr std::string_view ROLE_REQUESTED = "requested";  ///< the material asked for
inline constexpr std::string_view ROLE_RELATED = "related";      ///< shares elements with it
inline constexpr std::string_view ROLE_UNRELATED = "unrelated";  ///< clearly another material
inline constexpr std::string_view ROLE_UNKNOWN = "unknown";      ///< not decidable

/// Judges each source entry against a free-text request. Returns one verdict each, in order, with
/// the entry's "path" as its source and a sentence without its full stop as its reason. A structure
/// gets the role unrelated only when every word of the request is understood in one supported
/// language, the request names a material as the object of its task, and the structure shares no
/// element with any material named. The confidence is at least 0.8, so that the structure is
/// dropped, only if another structure, of `entries` or of the state's "structure_sources", is made
/// of the object; for a structure found by a scan ("discovery" is "project_folder" or
/// "workspace_scan") it is enough that the request names a single material.
structure_ingest::RelevanceReport assess_structure_relevance(
    const std::vector<structure_ingest::Json>& entries, const std::string& request,
    const structure_ingest::Json& state);

}  // namespace agent_modules
