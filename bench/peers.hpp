// Other readers, each as fast as it is by itself.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace bench {

/// Parses JSON into the library's own value; returns the number of members of the root.
std::size_t rapidjson_members(std::string_view text);

/// Parses JSON into the library's own tape; returns the number of members of the root.
std::size_t simdjson_members(std::string_view text);

/// Reads a CIF file without expanding its symmetry; returns the sum of its sites' coordinates.
double gemmi_coordinates(const std::string& path);

}  // namespace bench
