// Text as a part of HTML or SVG.
#pragma once

#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// `text` as it may stand between tags and in a quoted attribute: the characters that markup is
/// made of as entities; control and formatting characters, those that change the direction of
/// reading included, and bytes that are not UTF-8 as visible backslash escapes.
std::string markup_text(std::string_view text);

}  // namespace structure_ingest::internal
