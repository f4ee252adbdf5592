// The text of a JSON value in pieces, for values whose whole text would take much memory.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <variant>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/take_piece.hpp"

namespace structure_ingest::internal {

/// A list whose text is written without making it a value: as strings, of which bytes that are not
/// UTF-8 read as utf8_text() has them, or as lists of three floats.
using JsonList = std::variant<std::span<const std::string>, std::span<const std::array<double, 3>>>;

/// Stands in a value for a list that `take_json_text` is given beside it, by its index.
Json list_placeholder(std::size_t index);

/// Gives the text that `json_text` returns to `take`. The lists must stay as they are meanwhile.
void take_json_text(const Json& value, int indent, const TakePiece& take,
                    std::span<const JsonList> lists = {});

}  // namespace structure_ingest::internal
