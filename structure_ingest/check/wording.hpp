// Parts of messages.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace structure_ingest::internal {

/// A number with four significant digits: "3.142", "1e+20".
std::string number_text(double value);

/// "1 atom", "3 atoms".
std::string counted(std::size_t count, std::string_view singular);

/// "Fe2O3" with the elements in ascending order and fractional counts with up to three digits.
std::string composition_text(const std::map<std::string, double>& composition);

/// "'Fe1', 'Fe2' and 3 more": the first few of a list.
std::string first_of(const std::vector<std::string>& items, std::size_t most = 3);

}  // namespace structure_ingest::internal
