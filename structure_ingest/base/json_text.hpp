// The text of a JSON value in pieces, for values whose whole text would take much memory.
#pragma once

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/take_piece.hpp"

namespace structure_ingest::internal {

/// Gives the text that `json_text` returns to `take`.
void take_json_text(const Json& value, int indent, const TakePiece& take);

}  // namespace structure_ingest::internal
