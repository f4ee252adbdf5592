// JSON values inside the library: access to an agent state, in which any key may hold any kind of
// value, and the parts of reading and writing that parse_json() and json_text() are made of.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest::internal {

/// Whether a value counts as empty: null, false, zero, or an empty string, list or mapping.
bool is_empty(const Json& value);

/// The value under `key`, or null when `mapping` is not a mapping or lacks the key.
const Json& value_at(const Json& mapping, const char* key);

/// The value under `key` where a mapping is expected: null when `mapping` counts as empty.
/// Throws std::invalid_argument when it is neither empty nor a mapping.
const Json& member_of(const Json& mapping, const char* key);

/// The string under `key`, empty when there is none; and the strings of the list under it, of which
/// other elements are left out.
std::string string_at(const Json& mapping, const char* key);
std::vector<std::string> strings_at(const Json& mapping, const char* key);

/// The text of a value: a string itself; True, False and None as Python writes them, since the
/// agent is a Python program; otherwise the value's JSON text.
std::string text_of(const Json& value);

/// The text of a value, empty for a value that counts as empty.
std::string text_or_empty(const Json& value);

/// Visits the elements of a value where a list is expected: those of a list, none of an empty
/// value, the characters of a string, the keys of a mapping. Throws std::invalid_argument for any
/// other value.
void for_each_element(const Json& value, const std::function<void(const Json&)>& visit);

/// A list whose text is written without making it a value: as strings, of which bytes that are not
/// UTF-8 read as utf8_text() has them, or as lists of three floats.
using JsonList = std::variant<std::span<const std::string>, std::span<const std::array<double, 3>>>;

/// The list as a value.
Json json_list(const JsonList& list);

/// Stands in a value for a list that `take_json_text` is given beside it, by its index.
Json list_placeholder(std::size_t index);

/// Gives the text that `json_text` returns to `take`. The lists must stay as they are meanwhile.
void take_json_text(const Json& value, int indent, const TextSink& take,
                    std::span<const JsonList> lists = {});

/// Reads one JSON document. Nothing for text that is not JSON, and for what `read_any_json` has
/// rules on: a repeated key, deep nesting, a number that 64 bits do not hold.
std::optional<Json> read_plain_json(std::string_view text);

/// Reads any text as `parse_json` does, which asks this reader for what the other did not read.
Json read_any_json(std::string_view text);

}  // namespace structure_ingest::internal
