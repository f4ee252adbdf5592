// The companion lookup as its patterns define it, run by a regular-expression engine: the slow
// reference for the reader.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "structure_ingest/record/record_fwd.hpp"

namespace tests {

/// The cell in the text of a companion file, for a structure file with that name.
std::optional<std::vector<structure_ingest::Vector3>> slow_companion_cell(std::string_view text,
                                                                          std::string_view name);

}  // namespace tests
