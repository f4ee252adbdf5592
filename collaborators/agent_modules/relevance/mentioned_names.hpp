// Which file names a free-text request mentions.
#pragma once

#include <set>
#include <string>
#include <string_view>

namespace agent_modules {

/// Those of `names` (file names, or their stems) that occur in the request as whole words, in any
/// letter case and with any marks between their parts.
std::set<std::string> mentioned_names(std::string_view request, const std::set<std::string>& names);

}  // namespace agent_modules
