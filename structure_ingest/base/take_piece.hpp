// Texts that are handed over piece by piece, so that they are never in memory whole.
#pragma once

#include <functional>
#include <string_view>

namespace structure_ingest::internal {

/// Takes the next piece of a text; what it throws ends the text.
using TakePiece = std::function<void(std::string_view piece)>;

}  // namespace structure_ingest::internal
