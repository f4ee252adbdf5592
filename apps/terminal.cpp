#include "apps/terminal.hpp"

#include <sys/ioctl.h>
#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "structure_ingest/base/words.hpp"

namespace apps {

namespace {

std::string_view environment(const char* name) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the program has one thread.
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

std::string printable(std::string_view text) {
  return structure_ingest::internal::printable_form(text);
}

std::string printable_message(std::string_view text) {
  return printable(structure_ingest::internal::shortened(text, MOST_SHOWN));
}

std::string coloured(const std::string& text, int colour) {
  const std::string_view no_color = environment("NO_COLOR");
  const bool plain = isatty(STDOUT_FILENO) == 0 || !no_color.empty() || !has_capable_terminal();
  return plain ? text : "\x1b[" + std::to_string(colour) + "m" + text + "\x1b[0m";
}

bool has_capable_terminal() {
  const std::string_view kind = environment("TERM");
  return !kind.empty() && kind != "dumb";
}

void print_line(const std::string& text) {
  std::cout << text << '\n';
}

void print_error(const std::string& text) {
  std::cerr << "structure-ingest: " << printable_message(text) << '\n';
}

void print_text(std::string_view text) {
  std::cout << text;
}

bool can_print() {
  return std::cout.good();
}

std::size_t columns_of(std::string_view text) {
  std::size_t columns = 0;
  const auto* const bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  const auto size = static_cast<utf8proc_ssize_t>(text.size());
  for (utf8proc_ssize_t at = 0; at < size;) {
    utf8proc_int32_t character = 0;
    const utf8proc_ssize_t length = utf8proc_iterate(bytes + at, size - at, &character);
    columns += length > 0 ? static_cast<std::size_t>(utf8proc_charwidth(character)) : 1;
    at += std::max<utf8proc_ssize_t>(length, 1);
  }
  return columns;
}

std::size_t terminal_width(int descriptor) {
  constexpr std::size_t USUAL = 80;
  winsize size{};
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg)
  if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return USUAL;
  return size.ws_col;
}

std::size_t text_width() {
  static const std::size_t width = std::clamp<std::size_t>(terminal_width(STDOUT_FILENO), 40, 120);
  return width;
}

std::string wrapped(std::string_view text, std::size_t indent, std::size_t width) {
  std::string out;
  std::size_t column = indent;
  for (std::size_t at = 0; at < text.size();) {
    // A word with the blanks before it, which go where the line is broken.
    const std::size_t word = std::min(text.find_first_not_of(' ', at), text.size());
    const std::size_t end = std::min(text.find(' ', word), text.size());
    const std::size_t columns = columns_of(text.substr(at, end - at));
    const bool breaks = column > indent && word < text.size() && column + columns > width;
    if (breaks) out += "\n" + std::string(indent, ' ');
    const std::size_t from = breaks ? word : at;
    out += text.substr(from, end - from);
    column = breaks ? indent + columns_of(text.substr(word, end - word)) : column + columns;
    at = end;
  }
  return out;
}

void print_wrapped(const std::string& begin, std::string_view text) {
  print_line(begin + wrapped(text, columns_of(begin)));
}

}  // namespace apps
