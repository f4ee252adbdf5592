// The lines of this folder's tables, compiled in by the build.
#pragma once

#include <span>
#include <string_view>

namespace agent_modules {

using TableLines = std::span<const std::string_view>;

TableLines words_table();
TableLines common_names_table();
TableLines generated_names_table();

}  // namespace agent_modules
