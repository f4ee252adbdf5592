// The JSON-like value of source entries, the agent state and the manifest, and its text.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json_fwd.hpp"

namespace structure_ingest {

/// Thrown by `parse_json`. `what()` is the whole message on one line; the members are for callers
/// with their own wording.
struct STRUCTURE_INGEST_API JsonError : std::runtime_error {
  /// An error without a place.
  explicit JsonError(const std::string& why);
  /// An error at a place.
  JsonError(const std::string& why, std::size_t at_line, std::size_t at_column);

  std::string reason;      ///< what is wrong, without the place
  std::size_t line = 0;    ///< where, counted from 1; 0 where no place can be named
  std::size_t column = 0;  ///< in bytes, counted from 1; 0 likewise
};

/// Reads one JSON document. Throws JsonError for text that is not JSON, that nests deeper than 500
/// levels, or that holds a number which neither a 64-bit integer nor a double can hold.
STRUCTURE_INGEST_API Json parse_json(std::string_view text);

/// The text of `value`: on one line, or with `indent` blanks a level and one element a line. A
/// float reads in its shortest exact form, a non-finite one as null. Control characters are
/// escaped, and a byte that is not UTF-8 reads as U+FFFD, so that the text is always valid.
STRUCTURE_INGEST_API std::string json_text(const Json& value, int indent = -1);

}  // namespace structure_ingest
