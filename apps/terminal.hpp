// What the program shows: text that is safe on a terminal, colours, and summaries of entries.
#pragma once

#include <string>
#include <string_view>

#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// `text` with control characters as backslash escapes and invalid bytes as U+FFFD: a file's name
/// or content must not steer the terminal.
std::string printable(std::string_view text);

/// `text` in an SGR colour when standard output is a terminal and NO_COLOR is not set.
std::string coloured(const std::string& text, int colour);
inline constexpr int RED = 31;
inline constexpr int GREEN = 32;
inline constexpr int YELLOW = 33;

/// Prints one line of standard output, and one of standard error after the program's name.
void print_line(const std::string& text);
void print_error(const std::string& text);

/// Prints each message on a line of its own, indented.
void print_indented(const structure_ingest::Json& messages);

/// "a b c = 5.43 5.43 5.43 Å, alpha beta gamma = 90 90 90°" of three lattice vectors in ångström.
std::string cell_summary(const structure_ingest::Json& cell_ang);

}  // namespace apps
