// Words of UTF-8 text: white space, tokens, case, and forms that are fit for a message. No function
// fails on bytes that are not valid UTF-8; each documents how it treats them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace structure_ingest::internal {

/// White space: the Unicode white-space characters, and the information separators
/// U+001C to U+001F, three of which are line boundaries as well.
bool is_space(char32_t character);

/// `text` without leading and trailing white space.
std::string_view stripped(std::string_view text);

/// Removes the next run of non-space characters from `rest` and returns it; empty at the end.
std::string_view next_token(std::string_view& rest);

/// The value 0 to 9 of a decimal digit of any script, or -1.
int decimal_digit(char32_t character);

/// Full Unicode case folding (`ß` becomes `ss`). Invalid bytes stay as they are.
std::string case_folded(std::string_view text);

/// Full Unicode lower case, with a capital sigma at the end of a word becoming a final sigma.
/// Invalid bytes stay as they are.
std::string lower_cased(std::string_view text);

/// Lower case of the ASCII letters only.
std::string ascii_lower_cased(std::string_view text);

/// Whether `text` holds `lower_word` (lower-case ASCII) in any letter case.
bool contains_ignoring_ascii_case(std::string_view text, std::string_view lower_word);

/// `text` with each CR LF and each lone CR turned into LF.
std::string with_line_feeds(std::string text);

/// `text` with backslash escapes for unprintable characters: "\\t" for a tab, "\\x0a", "\\u202e" or
/// "\\U000e0001" for others, control and formatting characters included, and "\\xff" for a byte
/// that is not valid UTF-8. Quotes and backslashes stay as they are.
std::string printable_form(std::string_view text);

/// `text` for use in a message: at most its first `most` bytes, then its size. The content of a
/// file must not fill a terminal or a log.
std::string shortened(std::string_view text, std::size_t most);

/// "3 atoms", "1 atom".
std::string counted(std::size_t count, std::string_view singular);

/// `text` in quotes, with backslash escapes for unprintable characters: in single quotes, or in
/// double quotes when the text holds a single quote and no double quote.
std::string quoted_form(std::string_view text);

/// `text` as it may stand between tags and in a quoted attribute: the characters that markup is
/// made of as entities; control and formatting characters, those that change the direction of
/// reading included, and bytes that are not UTF-8 as visible backslash escapes.
std::string markup_text(std::string_view text);

}  // namespace structure_ingest::internal
