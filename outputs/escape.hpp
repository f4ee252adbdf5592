// Data as parts of a page.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "structure_ingest/base/json.hpp"

namespace outputs {

/// The text of `value` for a script element: nothing in it can end the element or begin a comment.
std::string script_json(const structure_ingest::Json& value);

/// `text` with each "{{name}}" replaced by its value; what the values hold is left alone. Every
/// name must have a value.
std::string filled(std::string_view text, const std::map<std::string_view, std::string>& values);

/// The source expression of a content security policy that allows this inline script or style.
std::string policy_hash(std::string_view text);

}  // namespace outputs
