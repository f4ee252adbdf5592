// What the program shows: text that is safe on a terminal, colours and line breaks.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace apps {

/// `text` with backslash escapes for what cannot be printed: a file's name or content must neither
/// steer the terminal nor change the order in which its characters are read.
std::string printable(std::string_view text);

/// The same of a message, of which no more than MOST_SHOWN bytes are shown: it may quote what a
/// file holds.
std::string printable_message(std::string_view text);
inline constexpr std::size_t MOST_SHOWN = 5000;  // a path, and what there is to say of it

/// `text` in an SGR colour when standard output is a terminal that knows colours and
/// NO_COLOR is not set.
std::string coloured(const std::string& text, int colour);
inline constexpr int RED = 31;
inline constexpr int GREEN = 32;
inline constexpr int YELLOW = 33;

/// Whether the terminal, if there is one, knows control sequences, by the variable TERM.
bool has_capable_terminal();

/// Prints one line of standard output, and one of standard error after the program's name.
void print_line(const std::string& text);
void print_error(const std::string& text);

/// Prints a text byte for byte, for another program to read.
void print_text(std::string_view text);

/// Whether standard output still takes what is printed; false when it is full.
bool can_print();

/// How many columns of a terminal a printable text takes.
std::size_t columns_of(std::string_view text);

/// The columns of the terminal behind a descriptor; 80 where there is none.
std::size_t terminal_width(int descriptor);

/// Up to which column standard output is filled: all of a terminal of 40 to 120 columns, where
/// lines can still be read, and else 80.
std::size_t text_width();

/// Prints `begin` and `text` in lines of `text_width` columns: `text` is broken at blanks, and goes
/// on below its own beginning. A longer word stays whole, so that a path can be copied.
void print_wrapped(const std::string& begin, std::string_view text);

/// `text` broken in the same way, at `width` columns, with `indent` blanks before each line but the
/// first; no line feed at the end.
std::string wrapped(std::string_view text, std::size_t indent, std::size_t width = text_width());

}  // namespace apps
