#include "structure_ingest/readers/companion_cell.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <system_error>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/readers/dispatch.hpp"

// The file consists of lines "key = value". The keys and values are defined by these patterns
// (flags: i ignores case, m lets ^ match at each line, s lets . match line breaks):
//
//   atom file   (?im)^\s*system\.atomFile\s*=\s*['"]?([^'"\s%#]+)
//   vectors (?ims)^\s*system\.centralCellVectors\s*=\s*(.+?)(?=^\s*[A-Za-z][A-Za-z0-9_.]*\s*=|\Z)
//   unit        (?im)^\s*calculation\.control\.lengthUnit\s*=\s*['"]?([^'"\s%#]+)
//   number      [-+]?(?:\d+(?:\.\d*)?|\.\d+)(?:[eE][-+]?\d+)?
//
// A regular-expression engine backtracks over white space that spans lines, and takes quadratic
// time on files with many blank lines. Read by hand, the patterns need no backtracking: no part of
// them can begin with a character that the previous part may end with. Each search below therefore
// goes over the text once. The tests compare it with the patterns themselves.

namespace structure_ingest::internal {
namespace {

constexpr std::string_view COMPANION_NAME = "scf.input";
constexpr std::array<std::string_view, 5> BOHR_NAMES = {"bohr", "au", "a.u.", "atomicunit",
                                                        "atomicunits"};

/// Folds case as the patterns do: letters to lower case, the long s and the Kelvin sign to the
/// ASCII letters that they match. Other characters stay as they are.
char32_t folded(char32_t character) {
  if (character >= U'A' && character <= U'Z') return character + (U'a' - U'A');
  if (character == 0x017F) return U's';
  if (character == 0x212A) return U'k';
  return character;
}

/// A position in the text, and the steps that the patterns consist of.
struct Cursor {
  std::string_view text;
  std::size_t position = 0;

  bool at_end() const { return position == text.size(); }
  Character peek() const { return character_at(text, position); }

  void skip_space() {
    while (!at_end() && is_space(peek().value)) position += peek().length;
  }
  bool skip(char character) {
    if (at_end() || text[position] != character) return false;
    ++position;
    return true;
  }
  bool skip_key(std::string_view key) {
    std::size_t place = position;
    for (const char expected : key) {
      if (place == text.size()) return false;
      const Character character = character_at(text, place);
      if (folded(character.value) != folded(static_cast<char32_t>(expected))) return false;
      place += character.length;
    }
    position = place;
    return true;
  }
  bool skip_any_key() {
    const auto is_letter = [](char32_t c) { return folded(c) >= U'a' && folded(c) <= U'z'; };
    if (at_end() || !is_letter(peek().value)) return false;
    const auto is_inner = [&](char32_t c) {
      return is_letter(c) || (c >= U'0' && c <= U'9') || c == U'_' || c == U'.';
    };
    while (!at_end() && is_inner(peek().value)) position += peek().length;
    return true;
  }
  bool skip_assignment() {
    skip_space();
    return skip('=');
  }
  /// Moves to the first character of the next line that is not white space; that may lie several
  /// lines down.
  bool next_line_start() {
    const std::size_t line_feed = text.find('\n', position);
    if (line_feed == std::string_view::npos) return false;
    position = line_feed + 1;
    skip_space();
    return true;
  }
};

/// Where the value of the next assignment of `key` starts, after white space. `line` is at the
/// first non-space character of the line where the search begins.
std::optional<Cursor> find_value(Cursor& line, std::string_view key) {
  do {
    Cursor value = line;
    if (value.skip_key(key) && value.skip_assignment()) {
      value.skip_space();
      return value;
    }
  } while (line.next_line_start());
  return std::nullopt;
}

Cursor first_line(std::string_view text) {
  Cursor start{text};
  start.skip_space();
  return start;
}

/// The first non-empty value assigned to `key`: up to a quote, white space, % or #, after an
/// optional opening quote.
std::optional<std::string_view> word_value(std::string_view text, std::string_view key) {
  Cursor line = first_line(text);
  while (std::optional<Cursor> value = find_value(line, key)) {
    if (!value->skip('\'')) value->skip('"');
    const std::size_t start = value->position;
    while (!value->at_end()) {
      const Character character = value->peek();
      const bool ends = character.value == U'\'' || character.value == U'"' ||
                        character.value == U'%' || character.value == U'#' ||
                        is_space(character.value);
      if (ends) break;
      value->position += character.length;
    }
    if (value->position > start) return text.substr(start, value->position - start);
    if (!line.next_line_start()) break;
  }
  return std::nullopt;
}

/// The block of the vectors: from the start of the value to the next line that begins with a key
/// assignment.
std::optional<std::string_view> vector_block(std::string_view text) {
  Cursor line = first_line(text);
  const std::optional<Cursor> value = find_value(line, "system.centralCellVectors");
  if (!value) return std::nullopt;
  Cursor end = *value;
  while (end.next_line_start()) {
    Cursor key = end;
    if (key.skip_any_key() && key.skip_assignment()) {
      return text.substr(value->position, end.position - value->position);
    }
  }
  return text.substr(value->position);
}

/// Removes the text up to and including the next number from `rest`; nothing when there is none.
std::optional<double> next_number(std::string_view& rest) {
  const auto digits = [&rest](std::size_t position) {
    while (position < rest.size()) {
      const Character character = character_at(rest, position);
      if (decimal_digit(character.value) < 0) break;
      position += character.length;
    }
    return position;
  };
  const auto skip_one_of = [&rest](std::size_t position, std::string_view characters) {
    const bool found =
        position < rest.size() && characters.find(rest[position]) != std::string_view::npos;
    return found ? position + 1 : position;
  };
  for (std::size_t start = 0; start < rest.size(); start += character_at(rest, start).length) {
    const std::size_t whole = skip_one_of(start, "+-");
    std::size_t end = digits(whole);
    const std::size_t point = skip_one_of(end, ".");
    if (end > whole) {
      end = point > end ? digits(point) : end;
    } else if (point > end && digits(point) > point) {
      end = digits(point);
    } else {
      continue;
    }
    const std::size_t e = skip_one_of(end, "eE");
    const std::size_t exponent = skip_one_of(e, "+-");
    if (e > end && digits(exponent) > exponent) end = digits(exponent);
    const std::optional<double> number = float_value(rest.substr(start, end - start));
    rest.remove_prefix(end);
    return number;
  }
  return std::nullopt;
}

/// The nine numbers of the block as rows, or nothing when there are not exactly nine.
std::optional<std::vector<Vector3>> rows_in(std::string_view block, double factor) {
  std::vector<Vector3> rows(3);
  for (Vector3& row : rows) {
    for (double& value : row) {
      const std::optional<double> number = next_number(block);
      if (!number) return std::nullopt;
      value = *number * factor;
    }
  }
  if (next_number(block)) return std::nullopt;
  return rows;
}

/// Reads the companion at a path; empty when it is missing or cannot be read.
CompanionInput read_companion(const std::string& path) {
  if (!is_regular_file(path)) return {};
  try {
    return companion_input(with_line_feeds(without_invalid_utf8(read_file(path))));
  } catch (const std::system_error&) {
    return {};
  }
}

}  // namespace

CompanionInput companion_input(std::string_view text) {
  CompanionInput companion;
  if (const auto atom_file = word_value(text, "system.atomFile")) {
    companion.atom_file = lower_cased(file_name(*atom_file));
  }
  const auto block = vector_block(text);
  if (!block) return companion;
  const auto unit = word_value(text, "calculation.control.lengthUnit");
  const std::string unit_name = unit ? lower_cased(*unit) : "angstrom";
  const bool is_bohr =
      std::find(BOHR_NAMES.begin(), BOHR_NAMES.end(), unit_name) != BOHR_NAMES.end();
  companion.cell_ang = rows_in(*block, is_bohr ? BOHR_TO_ANGSTROM : 1.0);
  return companion;
}

std::optional<std::vector<Vector3>> cell_for(const CompanionInput& companion,
                                             std::string_view structure_file_name) {
  const bool is_its_own =
      !companion.atom_file || *companion.atom_file == lower_cased(structure_file_name);
  return is_its_own ? companion.cell_ang : std::nullopt;
}

CompanionCell CompanionFiles::vorendal_cell(const std::string& path) {
  std::string companion_path = join_path(parent_folder(path), COMPANION_NAME);
  if (companion_path != latest_path_) {
    latest_ = read_companion(companion_path);
    latest_path_ = companion_path;
  }
  std::optional<std::vector<Vector3>> cell = cell_for(latest_, file_name(path));
  if (!cell) return {};
  return {std::move(cell), std::move(companion_path)};
}

}  // namespace structure_ingest::internal

bool structure_ingest::is_companion_name(std::string_view name) {
  // ASE takes any file with one of these words in its name for the one that it looks for.
  return name == internal::COMPANION_NAME ||
         internal::contains_ignoring_ascii_case(name, "potcar") ||
         internal::contains_ignoring_ascii_case(name, "outcar");
}
