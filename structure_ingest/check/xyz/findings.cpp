// Findings on XYZ files, most of them on what the comment line says, and why a file gave no
// structure.
#include <algorithm>
#include <array>
#include <charconv>
#include <span>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/input.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

// Parts of the names that programs give to files of forces, velocities and the like (CP2K: -frc-,
// -vel-).
constexpr std::array<std::string_view, 17> NOT_POSITIONS = {
    "force",    "forces",   "frc",          "gradient",      "gradients", "grad",
    "grads",    "velocity", "velocities",   "vel",           "vels",      "velo",
    "momentum", "momenta",  "displacement", "displacements", "dipoles"};
// In a comment these words may also describe a property of the whole frame, such as the largest
// force; the coordinates then decide.
constexpr std::array<std::string_view, 8> NOT_POSITIONS_IN_COMMENT = {
    "force",    "forces",     "gradient", "gradients",
    "velocity", "velocities", "momenta",  "displacements"};

/// The first run of letters in a text, in lower case, that is one of the known words; empty when
/// there is none.
std::string known_word(std::string_view text, std::span<const std::string_view> known) {
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at;
    while (end < text.size() && is_letter(text[end])) ++end;
    std::string word = ascii_lower_cased(text.substr(at, end - at));
    if (std::find(known.begin(), known.end(), word) != known.end()) return word;
    at = end + 1;
  }
  return {};
}

/// The value of `key=value` or `key="a value"` in a comment line, the key in any letter case.
std::optional<std::string_view> comment_value(std::string_view comment, std::string_view key) {
  for (std::size_t at = comment.find('='); at != std::string_view::npos;
       at = comment.find('=', at + 1)) {
    std::size_t end = at;
    while (end > 0 && comment[end - 1] == ' ') --end;
    if (end < key.size() ||
        ascii_lower_cased(comment.substr(end - key.size(), key.size())) != key) {
      continue;
    }
    const std::size_t begin = end - key.size();
    if (begin > 0 && comment[begin - 1] != ' ' && comment[begin - 1] != '\t') continue;
    std::string_view value = comment.substr(at + 1);
    value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
    const char quote = value.empty() ? ' ' : value.front();
    if (quote == '"' || quote == '\'') {
      value.remove_prefix(1);
      return value.substr(0, value.find(quote));
    }
    return value.substr(0, value.find_first_of(" \t"));
  }
  return std::nullopt;
}

/// One entry of `Properties=species:S:1:pos:R:3`.
struct Column {
  std::string name;       // lower case
  std::size_t begin = 0;  // its first column, counted from 0
};

/// The columns that a comment line declares; nothing when it declares none or is malformed.
std::optional<std::vector<Column>> declared_columns(std::string_view comment) {
  const std::optional<std::string_view> value = comment_value(comment, "properties");
  if (!value) return std::nullopt;
  constexpr std::size_t MOST_COLUMNS = 1000;
  std::vector<Column> columns;
  std::size_t begin = 0;
  std::string_view rest = *value;
  for (bool has_more = true; has_more && columns.size() < MOST_COLUMNS;) {
    std::array<std::string_view, 3> parts;
    for (std::string_view& part : parts) {
      if (!has_more) return std::nullopt;
      part = rest.substr(0, rest.find(':'));
      has_more = part.size() < rest.size();
      rest.remove_prefix(part.size() + (has_more ? 1 : 0));
    }
    std::size_t count = 0;
    const auto [end, error] = std::from_chars(parts[2].begin(), parts[2].end(), count);
    if (error != std::errc() || count == 0 || count > MOST_COLUMNS) return std::nullopt;
    columns.push_back({ascii_lower_cased(parts[0]), begin});
    begin += count;
  }
  return columns;
}

const Column* column_named(const std::optional<std::vector<Column>>& columns,
                           std::string_view name) {
  if (!columns) return nullptr;
  const auto found = std::find_if(columns->begin(), columns->end(),
                                  [&](const Column& column) { return column.name == name; });
  return found == columns->end() ? nullptr : &*found;
}

/// The first column that the reader takes for coordinates in an atom line.
std::size_t coordinate_column(std::string_view line, std::string_view comment) {
  const std::vector<std::string_view> tokens = tokens_of(line, 5);
  const bool orbital = contains_ignoring_ascii_case(comment, "orbitaltype");
  return tokens.size() == 5 && (orbital || !float_value(tokens[1])) ? 2 : 1;
}

/// What is wrong with the atom line at which the reader stopped.
std::string problem_of_line(const XyzContent& content) {
  const std::string_view text = content.stopped_text;
  const std::string number = "line " + std::to_string(content.stopped_line);
  if (stripped(text).empty()) return number + " is blank where an atom is expected";
  const std::string line = number + ", " + excerpt(text) + ", ";
  const std::vector<std::string_view> tokens = tokens_of(text, 5);
  if (tokens.size() < 4) return line + "is no atom with three coordinates";
  if (canonical_symbol(tokens[0]).empty()) {
    const bool is_number = integer_text(tokens[0]).has_value();
    return line + (is_number ? "begins with a number where an element is expected"
                             : "begins with a label of no element");
  }
  const std::size_t begin = coordinate_column(text, content.comment);
  for (std::size_t k = begin; k < begin + 3; ++k) {
    if (float_value(tokens[k])) continue;
    const bool comma = tokens[k].find(',') != std::string_view::npos;
    return line + "has " + excerpt(tokens[k]) + " for a coordinate" +
           (comma ? ": numbers are written with a point" : "");
  }
  return {};
}

/// The length unit in a companion, in quotes; empty when it names none.
std::string unit_in_companion(const std::string& path) {
  constexpr std::size_t MOST = std::size_t{1} << 20;
  const std::string head = beginning_of(path, MOST);
  for (const std::string_view line : lines_of(head, MOST)) {
    if (!ascii_lower_cased(stripped(line)).starts_with("calculation.control.lengthunit")) continue;
    std::string_view value = stripped(line.substr(std::min(line.find('='), line.size())));
    value.remove_prefix(std::min(value.find_first_not_of("= \t'\""), value.size()));
    value = value.substr(0, value.find_first_of("'\"%# \t"));
    if (!value.empty()) return excerpt(value);
  }
  return {};
}

std::string several_frames(const XyzContent& xyz) {
  if (xyz.frames < 2) return {};
  return "The file has " + std::string(xyz.counted_all ? "" : "more than ") +
         std::to_string(xyz.frames) + " frames; the record holds the first.";
}

std::string trailing_content(const XyzContent& xyz) {
  if (xyz.trailing_line == 0) return {};
  return "Line " + std::to_string(xyz.trailing_line) + ", " + excerpt(xyz.trailing_text) +
         ", and what follows it are no whole frame and were not read.";
}

std::string columns_not_as_declared(const XyzContent& xyz) {
  const std::optional<std::vector<Column>> columns = declared_columns(xyz.comment);
  if (!columns) return {};
  const Column* const position = column_named(columns, "pos");
  const std::size_t read =
      xyz.first_atoms.empty() ? 1 : coordinate_column(xyz.first_atoms[0], xyz.comment);
  const std::string were_read = "the coordinates were read from columns " +
                                std::to_string(read + 1) + " to " + std::to_string(read + 3) + ".";
  if (position == nullptr) return "Properties declares no positions (pos), but " + were_read;
  const Column* const species = column_named(columns, "species");
  if (species != nullptr && species->begin != 0) {
    return "Properties puts the elements in column " + std::to_string(species->begin + 1) +
           ", but they were read from column 1.";
  }
  if (position->begin == read) return {};
  return "Properties puts the positions in columns " + std::to_string(position->begin + 1) +
         " to " + std::to_string(position->begin + 3) + ", but " + were_read;
}

std::string columns_ignored(const XyzContent& xyz) {
  std::vector<std::string> ignored;
  for (const Column& column : declared_columns(xyz.comment).value_or(std::vector<Column>())) {
    const bool is_in_record =
        column.name == "species" || column.name == "pos" || column.name == "z";
    if (!is_in_record) ignored.push_back(excerpt(column.name));
  }
  if (ignored.empty()) return {};
  return "The record does not hold the columns " + listed(ignored, 6) + " of the file.";
}

std::string not_angstrom(const XyzContent& xyz) {
  for (const std::string_view token : tokens_of(xyz.comment, 1000)) {
    std::string word = ascii_lower_cased(token);
    word.erase(0, word.rfind('=') + 1);  // erases nothing when there is none
    std::erase_if(word, [](char c) {
      return std::string_view("()[],;:\"'.").find(c) != std::string_view::npos;
    });
    if (word == "bohr" || word == "bohrs" || word == "positions{atomic_unit}" ||
        word == "atomic_units") {
      return "The comment line names the unit " + excerpt(token) +
             ", but the coordinates were taken as \u00E5ngstr\u00F6m.";
    }
  }
  return {};
}

std::string not_fully_periodic(const CheckInput& input) {
  const std::optional<std::string_view> value = comment_value(input.xyz->comment, "pbc");
  if (!value || !input.record.cell_ang) return {};
  const std::vector<std::string_view> flags = tokens_of(*value, 3);
  const bool is_open = std::any_of(flags.begin(), flags.end(), [](std::string_view flag) {
    return flag.starts_with('F') || flag.starts_with('f') || flag == "0";
  });
  if (!is_open) return {};
  return "The file says pbc=" + excerpt(*value) +
         ", but the canonical copy declares the cell periodic along all three vectors.";
}

/// Whether three numbers follow; at most one word, such as "vectors", may stand before them.
bool begins_with_numbers(std::string text) {
  for (char& c : text) {
    if (std::string_view("=\"'{}[](),:").find(c) != std::string_view::npos) c = ' ';
  }
  std::size_t numbers = 0;
  std::size_t words = 0;
  for (const std::string_view token : tokens_of(text, 12)) {
    if (float_value(token)) {
      ++numbers;
    } else if (numbers > 0 || ++words > 1) {
      break;
    }
  }
  return numbers >= 3;
}

/// Whether no letter stands before or behind a part of the text.
bool is_word(std::string_view text, std::size_t at, std::size_t size) {
  return (at == 0 || !is_letter(text[at - 1])) &&
         (at + size >= text.size() || !is_letter(text[at + size]));
}

std::string cell_not_read(const CheckInput& input) {
  if (input.record.cell_ang && input.record.cell_provenance.empty()) return {};
  const std::string comment = ascii_lower_cased(input.xyz->comment);
  for (const std::string_view key : {"lattice", "cell", "box", "crystal", "abc"}) {
    for (std::size_t at = comment.find(key); at != std::string::npos;
         at = comment.find(key, at + 1)) {
      if (key == "abc" && !is_word(comment, at, key.size())) continue;
      if (!begins_with_numbers(comment.substr(at + key.size()))) continue;
      // i-PI, whose form this is, takes such numbers as bohr unless a unit is named.
      const bool is_unit_open =
          comment.substr(at).starts_with("cell(") && comment.find("cell{") == std::string::npos;
      return "The comment line gives a cell, " + excerpt(input.xyz->comment.substr(at)) +
             ", in a form that is not read" +
             (is_unit_open ? "; it names no unit, and programs that write this form mean bohr then."
                           : ".");
    }
  }
  return {};
}

std::string cell_from_companion(const std::string& companion) {
  if (companion.empty()) return {};
  const std::string unit = unit_in_companion(companion);
  return "The cell is not from the file itself but from " + utf8_text(companion) + " beside it, " +
         (unit.empty() ? "which names no unit: its numbers were taken as \u00E5ngstr\u00F6m."
                       : "whose unit is " + unit + ".");
}

}  // namespace

std::string not_positions(const CheckInput& input) {
  if (input.xyz == nullptr ||
      column_named(declared_columns(input.xyz->comment), "pos") != nullptr) {
    return {};
  }
  std::string word = known_word(input.file_name, NOT_POSITIONS);
  if (!word.empty()) {
    return "The file's name has the word '" + word +
           "': what was read as positions may be something else.";
  }
  word = known_word(input.xyz->comment, NOT_POSITIONS_IN_COMMENT);
  if (word.empty() || input.close.pairs.empty()) return {};
  return "The comment line has the word '" + word +
         "' and the atoms are too close: what was read as positions may be something else.";
}

std::vector<Observation> check_xyz(const CheckInput& input) {
  Observation companion = {"cell_from_companion",
                           cell_from_companion(input.record.cell_provenance)};
  if (input.xyz == nullptr) return {std::move(companion)};
  const XyzContent& xyz = *input.xyz;
  return {{"several_frames", several_frames(xyz)},
          {"trailing_content", trailing_content(xyz)},
          {"columns_not_as_declared", columns_not_as_declared(xyz)},
          {"columns_ignored", columns_ignored(xyz)},
          {"not_positions", not_positions(input)},
          {"not_angstrom", not_angstrom(xyz)},
          {"not_fully_periodic", not_fully_periodic(input)},
          {"cell_not_read", cell_not_read(input)},
          labels_of_xyz(input),
          std::move(companion)};
}

std::string problem_of_xyz(const FileContent& content, std::string_view warning) {
  if (content.xyz.stopped_line > 0) return problem_of_line(content.xyz);
  if (!warning.starts_with("First line")) return {};
  if (content.bytes.starts_with("\xEF\xBB\xBF")) {
    return "a byte-order mark stands before the atom count of line 1";
  }
  const std::vector<std::string_view> lines = lines_of(content.bytes, 1);
  const std::string_view first = lines.empty() ? "" : lines[0];
  const std::vector<std::string_view> tokens = tokens_of(first, 5);
  if (tokens.size() == 4 && !canonical_symbol(tokens[0]).empty() && float_value(tokens[1]) &&
      float_value(tokens[2]) && float_value(tokens[3])) {
    return "it begins with an atom, " + excerpt(first) +
           ": the lines with the atom count and the comment are missing";
  }
  if (stripped(first).empty()) return "line 1, which is to give the atom count, is blank";
  return "line 1 is to give the atom count, but is " + excerpt(first);
}

}  // namespace structure_ingest::internal
