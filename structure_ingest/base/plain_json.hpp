// Fast reader for JSON text that is as it should be.
#pragma once

#include <optional>
#include <string_view>

#include "structure_ingest/base/json.hpp"

namespace structure_ingest::internal {

/// Reads one JSON document. Nothing for text that is not JSON, and for what `read_any_json` has
/// rules on: a repeated key, deep nesting, a number that 64 bits do not hold.
std::optional<Json> read_plain_json(std::string_view text);

/// Reads any text as `parse_json` does, which asks this reader for what the other did not read.
Json read_any_json(std::string_view text);

}  // namespace structure_ingest::internal
