// The lists of a record as JSON.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

/// A list of strings (bytes that are not UTF-8 read U+FFFD), or of vectors as lists of three
/// floats.
Json json_list(const std::vector<std::string>& texts);
Json json_list(const std::vector<Vector3>& vectors);

/// The cell as a list of vectors; null when it is absent.
Json json_cell(const std::optional<std::vector<Vector3>>& cell_ang);

}  // namespace structure_ingest::internal
