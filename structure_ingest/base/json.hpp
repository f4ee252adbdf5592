// The JSON-like value of source entries, the agent state and the manifest, and its text.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

/// An insertion-ordered JSON value. Its strings are UTF-8.
using Json = nlohmann::ordered_json;

/// What `parse_json` throws; the message says what is wrong and at which byte or line.
struct STRUCTURE_INGEST_API JsonError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Reads one JSON document. Throws JsonError for text that is none, that nests deeper than
/// 500 levels, or that holds a number which a 64-bit integer or a double cannot keep.
STRUCTURE_INGEST_API Json parse_json(std::string_view text);

/// The text of `value`: on one line, or with `indent` blanks per level and one element a line.
/// A float reads in its shortest exact form, one that is not finite as null. Control characters are
/// escaped, and a byte that is no UTF-8 reads as U+FFFD, so that the text is always valid.
STRUCTURE_INGEST_API std::string json_text(const Json& value, int indent = -1);

namespace internal {

/// Whether a value counts as empty: null, false, zero, or an empty string, list or mapping.
bool is_empty(const Json& value);

/// The value under `key`, or null when `mapping` is no mapping or lacks the key.
const Json& value_at(const Json& mapping, const char* key);

/// The value under `key` where a mapping is expected: null when `mapping` counts as empty.
/// Throws std::invalid_argument when it is neither empty nor a mapping.
const Json& member_of(const Json& mapping, const char* key);

/// The text of a value: a string itself, True, False and None as the agent, a Python program,
/// writes them, and otherwise the value's JSON text.
std::string text_of(const Json& value);

/// The text of a value, nothing for a value that counts as empty.
std::string text_or_empty(const Json& value);

/// Visits the elements of a value where a list is expected: those of a list, none of an empty
/// value, the characters of a string and the keys of a mapping. Throws std::invalid_argument for
/// others.
void for_each_element(const Json& value, const std::function<void(const Json&)>& visit);

}  // namespace internal
}  // namespace structure_ingest
