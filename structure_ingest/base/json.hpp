// The JSON-like value of source entries, the agent state and the manifest, and its text.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

/// An insertion-ordered JSON value. Its strings are UTF-8.
using Json = nlohmann::ordered_json;

/// What `parse_json` throws. `what()` says it all in one line; the parts are for who says it in
/// other words.
struct STRUCTURE_INGEST_API JsonError : std::runtime_error {
  /// An error of which the place is not known.
  explicit JsonError(const std::string& why);
  /// An error at a place.
  JsonError(const std::string& why, std::size_t at_line, std::size_t at_column);

  std::string reason;      ///< what is wrong, without the place
  std::size_t line = 0;    ///< where, counted from 1; 0 where no place can be named
  std::size_t column = 0;  ///< in bytes, counted from 1; 0 likewise
};

/// Reads one JSON document. Throws JsonError for text that is none, that nests deeper than
/// 500 levels, or that holds a number which a 64-bit integer or a double cannot keep.
STRUCTURE_INGEST_API Json parse_json(std::string_view text);

/// The text of `value`: on one line, or with `indent` blanks per level and one element a line.
/// A float reads in its shortest exact form, one that is not finite as null. Control characters are
/// escaped, and a byte that is no UTF-8 reads as U+FFFD, so that the text is always valid.
STRUCTURE_INGEST_API std::string json_text(const Json& value, int indent = -1);

}  // namespace structure_ingest
