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
// them can begin with a character that the previous part may end with. One pass over the text
// therefore finds all assignments. The tests compare it with the patterns themselves.

namespace structure_ingest::internal {
namespace {

constexpr std::string_view COMPANION_NAME = "scf.input";
constexpr std::array<std::string_view, 5> BOHR_NAMES = {"bohr", "au", "a.u.", "atomicunit",
                                                        "atomicunits"};

/// The place behind the characters from `at` on that a predicate holds for.
template <typename Predicate>
std::size_t end_of_run(std::string_view text, std::size_t at, Predicate holds) {
  while (at < text.size()) {
    const Character character = character_at(text, at);
    if (!holds(character.value)) break;
    at += character.length;
  }
  return at;
}

/// A letter as the patterns mean it in any case: the long s and the Kelvin sign count as s and k.
bool is_key_letter(char32_t c) {
  return (c >= U'a' && c <= U'z') || (c >= U'A' && c <= U'Z') || c == 0x017F || c == 0x212A;
}

bool is_in_key(char32_t c) {
  return is_key_letter(c) || (c >= U'0' && c <= U'9') || c == U'_' || c == U'.';
}

bool is_one_of(char32_t c, std::string_view ascii) {
  return c < 128 && ascii.find(static_cast<char>(c)) != std::string_view::npos;
}

/// One "key = value", at the front of a line.
struct Assignment {
  std::string key;    // in lower case, cut when it is longer than any that matters
  std::size_t begin;  // where the key begins
  std::size_t value;  // where the value begins, which may be in a later line
};

/// The next assignment whose line begins at `begin`, the first character of a line that is not
/// white space, or later. Moves `begin` to the next such character behind.
std::optional<Assignment> next_assignment(std::string_view text, std::size_t& begin) {
  constexpr std::size_t MOST_KEY = 64;
  while (begin < text.size()) {
    const std::size_t line = begin;
    const std::size_t line_end = std::min(text.find('\n', line), text.size());
    begin = end_of_run(text, line_end, is_space);
    if (!is_key_letter(character_at(text, line).value)) continue;
    const std::size_t key_end = end_of_run(text, line, is_in_key);
    const std::size_t sign = end_of_run(text, key_end, is_space);
    if (sign == text.size() || text[sign] != '=') continue;
    return Assignment{case_folded(text.substr(line, std::min(key_end - line, MOST_KEY))), line,
                      end_of_run(text, sign + 1, is_space)};
  }
  return std::nullopt;
}

/// The word at the front of a value: up to a quote, white space, % or #, after an optional opening
/// quote.
std::string_view first_word(std::string_view value) {
  if (value.starts_with('\'') || value.starts_with("\"")) value.remove_prefix(1);
  return value.substr(
      0, end_of_run(value, 0, [](char32_t c) { return !is_one_of(c, "'\"%#") && !is_space(c); }));
}

/// Removes the text up to and including the next number from `rest`; nothing when there is none.
std::optional<double> next_number(std::string_view& rest) {
  const auto digits = [&rest](std::size_t position) {
    return end_of_run(rest, position, [](char32_t c) { return decimal_digit(c) >= 0; });
  };
  const auto skip_one_of = [&rest](std::size_t position, std::string_view characters) {
    const bool is_there =
        position < rest.size() && is_one_of(static_cast<unsigned char>(rest[position]), characters);
    return is_there ? position + 1 : position;
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
  std::string_view atom_file;
  std::string_view unit;
  std::optional<std::size_t> vectors;  // where they begin
  std::size_t vectors_end = text.size();
  std::size_t line = end_of_run(text, 0, is_space);
  while (const std::optional<Assignment> found = next_assignment(text, line)) {
    const std::string_view word = first_word(text.substr(found->value));
    // Of several assignments the first counts, and of words the first that is not empty.
    if (found->key == "system.atomfile" && atom_file.empty()) atom_file = word;
    if (found->key == "calculation.control.lengthunit" && unit.empty()) unit = word;
    if (vectors && found->begin > *vectors) vectors_end = std::min(vectors_end, found->begin);
    if (found->key == "system.centralcellvectors" && !vectors) vectors = found->value;
  }
  CompanionInput companion;
  if (!atom_file.empty()) companion.atom_file = lower_cased(file_name(atom_file));
  if (!vectors) return companion;
  const std::string unit_name = lower_cased(unit);
  const bool is_bohr =
      std::find(BOHR_NAMES.begin(), BOHR_NAMES.end(), unit_name) != BOHR_NAMES.end();
  companion.cell_ang =
      rows_in(text.substr(*vectors, vectors_end - *vectors), is_bohr ? BOHR_TO_ANGSTROM : 1.0);
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
