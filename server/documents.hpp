// The JSON documents that are built into the server.
#pragma once

#include <string_view>

#include "structure_ingest/base/json.hpp"

namespace server {

/// The definitions of all tools, as `tools/list` gives them: references to the schemas of the
/// library's own documents are replaced by what they refer to, so that a client needs nothing else.
const structure_ingest::Json& tool_definitions();

/// The same of the files themselves: "tool_definitions.json" and those of docs/schema. Empty for
/// another name. Defined by a source that the build makes.
std::string_view document_text(std::string_view name);

}  // namespace server
