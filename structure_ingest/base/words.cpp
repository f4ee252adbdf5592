#include "structure_ingest/base/words.hpp"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <initializer_list>
#include <utility>

#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest::internal {
namespace {

char ascii_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool is_ascii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

constexpr std::array<bool, 128> ASCII_SPACE = [] {
  std::array<bool, 128> table{};
  for (const unsigned c : {0x09U, 0x0AU, 0x0BU, 0x0CU, 0x0DU, 0x1CU, 0x1DU, 0x1EU, 0x1FU, 0x20U})
    table[c] = true;
  return table;
}();

/// The length of the white-space character at `position`, or 0 when another character stands there.
std::size_t space_length(std::string_view text, std::size_t position) {
  const char c = text[position];
  if (is_ascii(c)) return ASCII_SPACE[static_cast<unsigned char>(c)] ? 1 : 0;
  const Character character = character_at(text, position);
  return is_space(character.value) ? character.length : 0;
}

bool is_in(std::initializer_list<utf8proc_category_t> categories, char32_t character) {
  const auto category = utf8proc_category(static_cast<utf8proc_int32_t>(character));
  return std::find(categories.begin(), categories.end(), category) != categories.end();
}

/// Whether a character is printed as it is: not one of Unicode's categories "other" and
/// "separator", except the blank.
bool is_printable(char32_t character) {
  return character == U' ' ||
         !is_in({UTF8PROC_CATEGORY_CN, UTF8PROC_CATEGORY_CC, UTF8PROC_CATEGORY_CF,
                 UTF8PROC_CATEGORY_CS, UTF8PROC_CATEGORY_CO, UTF8PROC_CATEGORY_ZL,
                 UTF8PROC_CATEGORY_ZP, UTF8PROC_CATEGORY_ZS},
                character);
}

void append_escape(std::string& out, char32_t character) {
  std::array<char, 12> buffer{};
  const char* format = character <= 0xFF ? "\\x%02x" : character <= 0xFFFF ? "\\u%04x" : "\\U%08x";
  std::snprintf(buffer.data(), buffer.size(), format, static_cast<unsigned>(character));
  out += buffer.data();
}

/// A copy of `text` with escapes for what is not printable, and between quotes (NUL: there are
/// none) for backslashes and that quote.
std::string escaped(std::string_view text, char quote) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const Character character = character_at(text, position);
    const std::string_view bytes = text.substr(position, character.length);
    position += character.length;
    if (character.value == U'\t') {
      out += "\\t";
    } else if (character.value == INVALID_CHARACTER) {
      append_escape(out, static_cast<unsigned char>(bytes[0]));
    } else if (!is_printable(character.value)) {
      append_escape(out, character.value);
    } else {
      if (quote != '\0' && (bytes[0] == '\\' || bytes[0] == quote)) out += '\\';
      out += bytes;
    }
  }
  return out;
}

constexpr char32_t CAPITAL_SIGMA = 0x03A3;
constexpr char32_t FINAL_SIGMA = 0x03C2;
constexpr char32_t CAPITAL_I_WITH_DOT = 0x0130;

bool is_cased(char32_t character) {
  const auto c = static_cast<utf8proc_int32_t>(character);
  return is_in({UTF8PROC_CATEGORY_LU, UTF8PROC_CATEGORY_LL, UTF8PROC_CATEGORY_LT}, character) ||
         utf8proc_tolower(c) != c || utf8proc_toupper(c) != c;
}

/// Whether the search for the end of a word passes over this character (Unicode's Case_Ignorable).
bool is_case_ignorable(char32_t character) {
  // Punctuation inside words: Word_Break MidLetter, MidNumLet and Single_Quote.
  constexpr std::u32string_view inside_words =
      U"'.:"
      U"\u00B7\u0387\u055F\u05F4\u2018\u2019\u2024\u2027\uFE13\uFE52\uFE55\uFF07\uFF0E\uFF1A";
  return inside_words.find(character) != std::u32string_view::npos ||
         is_in({UTF8PROC_CATEGORY_MN, UTF8PROC_CATEGORY_ME, UTF8PROC_CATEGORY_CF,
                UTF8PROC_CATEGORY_LM, UTF8PROC_CATEGORY_SK},
               character);
}

bool cased_letter_follows(std::string_view text, std::size_t position) {
  while (position < text.size()) {
    const Character next = character_at(text, position);
    if (next.value == INVALID_CHARACTER) return false;
    if (!is_case_ignorable(next.value)) return is_cased(next.value);
    position += next.length;
  }
  return false;
}

}  // namespace

bool is_space(char32_t character) {
  if (character < 128) return ASCII_SPACE[character];
  // Those outside ASCII, without U+2000 to U+200A.
  constexpr std::u32string_view others = U"\u0085\u00A0\u1680\u2028\u2029\u202F\u205F\u3000";
  return (character >= 0x2000 && character <= 0x200A) ||
         others.find(character) != std::u32string_view::npos;
}

std::string_view stripped(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = space_length(text, 0);
    if (length == 0) break;
    text.remove_prefix(length);
  }
  // Scan forwards for the end of the last character that is not white space: characters are decoded
  // in that direction only.
  std::size_t end = 0;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t space = space_length(text, position);
    position += space > 0 ? space : character_at(text, position).length;
    if (space == 0) end = position;
  }
  return text.substr(0, end);
}

std::string_view next_token(std::string_view& rest) {
  const char* const text_end = rest.data() + rest.size();
  const auto skip_while = [text_end](const char* at, bool space) {
    while (at != text_end) {
      if (is_ascii(*at)) {
        if (ASCII_SPACE[static_cast<unsigned char>(*at)] != space) break;
        ++at;
        continue;
      }
      const Character character = character_at({at, static_cast<std::size_t>(text_end - at)}, 0);
      if (is_space(character.value) != space) break;
      at += character.length;
    }
    return at;
  };
  const char* const begin = skip_while(rest.data(), true);
  const char* const end = skip_while(begin, false);
  rest = {end, static_cast<std::size_t>(text_end - end)};
  return {begin, static_cast<std::size_t>(end - begin)};
}

int decimal_digit(char32_t character) {
  if (character < 128)
    return character >= '0' && character <= '9' ? static_cast<int>(character - '0') : -1;
  const auto is_digit = [](char32_t c) { return is_in({UTF8PROC_CATEGORY_ND}, c); };
  if (character == INVALID_CHARACTER || !is_digit(character)) return -1;
  // Unicode encodes the digits of every script as an unbroken run 0 to 9; runs may adjoin.
  char32_t first = character;
  while (is_digit(first - 1)) --first;
  return static_cast<int>((character - first) % 10);
}

std::string case_folded(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const Character character = character_at(text, position);
    if (character.value < 128) {
      out += ascii_lower(text[position]);
    } else if (character.value == INVALID_CHARACTER) {
      out += text[position];
    } else {
      std::array<utf8proc_int32_t, 8> folded{};
      int boundary = 0;
      const auto count = static_cast<std::size_t>(
          utf8proc_decompose_char(static_cast<utf8proc_int32_t>(character.value), folded.data(),
                                  folded.size(), UTF8PROC_CASEFOLD, &boundary));
      for (std::size_t i = 0; i < count; ++i) append_utf8(out, static_cast<char32_t>(folded[i]));
    }
    position += character.length;
  }
  return out;
}

std::string lower_cased(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  bool after_cased_letter = false;
  for (std::size_t position = 0; position < text.size();) {
    const Character character = character_at(text, position);
    const std::size_t next = position + character.length;
    if (character.value == INVALID_CHARACTER) {
      out += text[position];
      after_cased_letter = false;
    } else {
      if (character.value == CAPITAL_SIGMA && after_cased_letter &&
          !cased_letter_follows(text, next)) {
        append_utf8(out, FINAL_SIGMA);
      } else if (character.value == CAPITAL_I_WITH_DOT) {
        out += "i\u0307";
      } else {
        append_utf8(out, static_cast<char32_t>(
                             utf8proc_tolower(static_cast<utf8proc_int32_t>(character.value))));
      }
      if (!is_case_ignorable(character.value)) after_cased_letter = is_cased(character.value);
    }
    position = next;
  }
  return out;
}

std::string ascii_lower_cased(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), ascii_lower);
  return out;
}

bool contains_ignoring_ascii_case(std::string_view text, std::string_view lower_word) {
  const auto same = [](char a, char b) { return ascii_lower(a) == b; };
  return std::search(text.begin(), text.end(), lower_word.begin(), lower_word.end(), same) !=
         text.end();
}

std::string with_line_feeds(std::string text) {
  std::size_t out = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r') {
      if (i + 1 < text.size() && text[i + 1] == '\n') continue;
      text[i] = '\n';
    }
    text[out++] = text[i];
  }
  text.resize(out);
  return text;
}

std::string shortened(std::string_view text, std::size_t most) {
  if (text.size() <= most) return std::string(text);
  std::size_t end = most;
  // Do not split a character: up to three bytes follow its first one.
  for (int i = 0; i < 3 && end > 0 && (text[end] & 0xC0) == 0x80; ++i) --end;
  return std::string(text.substr(0, end)) + "... (" + std::to_string(text.size()) + " bytes)";
}

std::string printable_form(std::string_view text) {
  return escaped(text, '\0');
}

std::string counted(std::size_t count, std::string_view singular) {
  return std::to_string(count).append(" ").append(singular).append(count == 1 ? "" : "s");
}

std::string quoted_form(std::string_view text) {
  const bool has_single = text.find('\'') != std::string_view::npos;
  const bool has_double = text.find('"') != std::string_view::npos;
  const char quote = has_single && !has_double ? '"' : '\'';
  return quote + escaped(text, quote) + quote;
}

std::string markup_text(std::string_view text) {
  constexpr std::array<std::pair<char, std::string_view>, 5> entities = {
      {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}}};
  std::string out;
  for (const char c : printable_form(text)) {
    const auto* const entity = std::find_if(entities.begin(), entities.end(),
                                            [c](const auto& each) { return each.first == c; });
    if (entity == entities.end()) {
      out += c;
    } else {
      out += entity->second;
    }
  }
  return out;
}

}  // namespace structure_ingest::internal
