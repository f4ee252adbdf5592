// Access to an agent state, in which any key may hold any kind of value.
#pragma once

#include <functional>
#include <string>

#include "structure_ingest/base/json.hpp"

namespace structure_ingest::internal {

/// Whether a value counts as empty: null, false, zero, or an empty string, list or mapping.
bool is_empty(const Json& value);

/// The value under `key`, or null when `mapping` is not a mapping or lacks the key.
const Json& value_at(const Json& mapping, const char* key);

/// The value under `key` where a mapping is expected: null when `mapping` counts as empty.
/// Throws std::invalid_argument when it is neither empty nor a mapping.
const Json& member_of(const Json& mapping, const char* key);

/// The text of a value: a string itself; True, False and None as Python writes them, since the
/// agent is a Python program; otherwise the value's JSON text.
std::string text_of(const Json& value);

/// The text of a value, empty for a value that counts as empty.
std::string text_or_empty(const Json& value);

/// Visits the elements of a value where a list is expected: those of a list, none of an empty
/// value, the characters of a string, the keys of a mapping. Throws std::invalid_argument for any
/// other value.
void for_each_element(const Json& value, const std::function<void(const Json&)>& visit);

}  // namespace structure_ingest::internal
