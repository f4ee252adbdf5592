// The resources that a server offers: canonical copies, manifests and findings of projects.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "server/workspace.hpp"
#include "structure_ingest/base/json.hpp"

namespace server {

using structure_ingest::Json;

/// How many resources one answer lists.
inline constexpr std::size_t RESOURCES_PER_PAGE = 200;
/// The largest resource that is read, in bytes; a program that needs a larger one opens the file.
inline constexpr std::size_t MOST_RESOURCE_BYTES = std::size_t{16} << 20;

/// The result of `resources/list` from a cursor on, which is empty or comes from the answer before;
/// nothing for another cursor. Throws Cancelled.
std::optional<Json> list_of_resources(Workspace& workspace, std::string_view cursor,
                                      const Call& call);

/// The result of `resources/templates/list`.
Json list_of_templates();

/// The result of `resources/read`. Throws ToolError for a URI that is none of a resource, and for a
/// file that cannot be read.
Json read_resource(const Workspace& workspace, const std::string& uri);

/// A link to a canonical copy, for an answer.
Json link_to_copy(const std::string& path);

}  // namespace server
