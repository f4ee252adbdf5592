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

/// Judges each source entry against a free-text request; one verdict each, in order, with the
/// entry's "path" as its source and as reason a sentence without its full stop. A structure is
/// unrelated with a confidence of 0.8 or more, and so dropped, only when the request is understood
/// word by word in a language that we read, names a material as the object of its task, and the
/// structure shares no element with anything named. Another structure, of `entries` or of the
/// state's "structure_sources", must then be made of the object; but for what a scan found
/// ("discovery" is "project_folder" or "workspace_scan") it is enough that one material alone is
/// named.
structure_ingest::RelevanceReport assess_structure_relevance(
    const std::vector<structure_ingest::Json>& entries, const std::string& request,
    const structure_ingest::Json& state);

}  // namespace agent_modules
