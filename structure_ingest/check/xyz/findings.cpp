// Findings on XYZ files.
#include <algorithm>
#include <array>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/rules.hpp"
#include "structure_ingest/check/wording.hpp"
#include "structure_ingest/check/xyz/comment.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// The runs of letters in a text, in lower case.
std::vector<std::string> words_of(std::string_view text) {
  std::vector<std::string> words;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at;
    while (end < text.size() && is_letter(text[end])) ++end;
    if (end > at) words.push_back(ascii_lower_cased(text.substr(at, end - at)));
    at = end + 1;
  }
  return words;
}

template <std::size_t N>
std::optional<std::string> one_of(const std::vector<std::string>& words,
                                  const std::array<std::string_view, N>& known) {
  for (const std::string& word : words) {
    if (std::find(known.begin(), known.end(), word) != known.end()) return word;
  }
  return std::nullopt;
}

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

/// The first column that the reader takes for coordinates in an atom line.
std::size_t coordinate_column(std::string_view line, std::string_view comment) {
  const std::vector<std::string_view> tokens = tokens_of(line, 5);
  const bool orbital = contains_ignoring_ascii_case(comment, "orbitaltype");
  return tokens.size() == 5 && (orbital || !float_value(tokens[1])) ? 2 : 1;
}

const XyzColumn* column_named(const std::vector<XyzColumn>& columns, std::string_view name) {
  const auto found = std::find_if(columns.begin(), columns.end(),
                                  [&](const XyzColumn& column) { return column.name == name; });
  return found == columns.end() ? nullptr : &*found;
}

/// What is wrong with the atom line at which the reader stopped.
std::string problem_of_line(const XyzContent& content) {
  const std::string_view text = content.stopped_text;
  const std::string number = "line " + std::to_string(content.stopped_line);
  if (stripped(text).empty()) return number + " is blank where an atom is expected";
  const std::string line = number + ", " + shown(text) + ", ";
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
    return line + "has " + shown(tokens[k]) + " for a coordinate" +
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
    if (!value.empty()) return shown(value);
  }
  return {};
}

}  // namespace

std::vector<Observation> find_several_frames(const CheckInput& input) {
  if (!input.xyz || input.xyz->frames < 2) return {};
  const std::string count =
      (input.xyz->counted_all ? "" : "more than ") + std::to_string(input.xyz->frames);
  return {{"The file has " + count + " frames; the record holds the first."}};
}

std::vector<Observation> find_trailing_content(const CheckInput& input) {
  if (input.xyz && input.xyz->trailing_line > 0) {
    return {{"Line " + std::to_string(input.xyz->trailing_line) + ", " +
             shown(input.xyz->trailing_text) +
             ", and what follows it are no whole frame and were not read."}};
  }
  if (input.record.ok && input.poscar && input.poscar->more_atoms > 0) {
    return {{counted(input.poscar->more_atoms, "line") + " of three numbers directly behind the " +
             counted(input.poscar->natoms, "atom") + " that the file counts were not read."}};
  }
  return {};
}

std::vector<Observation> find_columns_not_as_declared(const CheckInput& input) {
  if (!input.xyz) return {};
  const std::optional<std::vector<XyzColumn>> columns = declared_columns(input.xyz->comment);
  if (!columns) return {};
  const XyzColumn* const position = column_named(*columns, "pos");
  const std::vector<std::string>& first_atoms = input.xyz->first_atoms;
  const std::size_t read =
      first_atoms.empty() ? 1 : coordinate_column(first_atoms[0], input.xyz->comment);
  const std::string were_read = "the coordinates were read from columns " +
                                std::to_string(read + 1) + " to " + std::to_string(read + 3) + ".";
  if (position == nullptr) {
    return {{"Properties declares no positions (pos), but " + were_read}};
  }
  const XyzColumn* const species = column_named(*columns, "species");
  if (species != nullptr && species->begin != 0) {
    return {{"Properties puts the elements in column " + std::to_string(species->begin + 1) +
             ", but they were read from column 1."}};
  }
  if (position->begin == read) return {};
  return {{"Properties puts the positions in columns " + std::to_string(position->begin + 1) +
           " to " + std::to_string(position->begin + 3) + ", but " + were_read}};
}

std::vector<Observation> find_columns_ignored(const CheckInput& input) {
  if (!input.xyz) return {};
  std::vector<std::string> ignored;
  for (const XyzColumn& column :
       declared_columns(input.xyz->comment).value_or(std::vector<XyzColumn>())) {
    const bool kept = column.name == "species" || column.name == "pos" || column.name == "z";
    if (!kept) ignored.push_back(shown(column.name));
  }
  if (ignored.empty()) return {};
  return {{"The record does not hold the columns " + first_of(ignored, 6) + " of the file."}};
}

std::vector<Observation> find_not_positions(const CheckInput& input) {
  if (!input.xyz) return {};
  const std::optional<std::vector<XyzColumn>> columns = declared_columns(input.xyz->comment);
  if (columns && column_named(*columns, "pos") != nullptr) return {};
  if (const auto word = one_of(words_of(input.file_name), NOT_POSITIONS)) {
    return {{"The file's name has the word '" + *word +
             "': what was read as positions may be something else."}};
  }
  const auto word = one_of(words_of(input.xyz->comment), NOT_POSITIONS_IN_COMMENT);
  if (!word || input.close.pairs.empty()) return {};
  return {{"The comment line has the word '" + *word +
           "' and the atoms are too close: what was read as positions may be something else."}};
}

std::vector<Observation> find_not_angstrom(const CheckInput& input) {
  if (!input.xyz) return {};
  const std::string& comment = input.xyz->comment;
  for (const std::string_view token : tokens_of(comment, 1000)) {
    std::string word = ascii_lower_cased(token);
    const std::size_t sign = word.rfind('=');
    if (sign != std::string::npos) word.erase(0, sign + 1);
    std::erase_if(word, [](char c) {
      return std::string_view("()[],;:\"'.").find(c) != std::string_view::npos;
    });
    if (word == "bohr" || word == "bohrs" || word == "positions{atomic_unit}" ||
        word == "atomic_units") {
      return {{"The comment line names the unit " + shown(token) +
               ", but the coordinates were taken as \u00E5ngstr\u00F6m."}};
    }
  }
  return {};
}

std::vector<Observation> find_not_fully_periodic(const CheckInput& input) {
  if (!input.xyz || !input.record.cell_ang) return {};
  const std::optional<std::string_view> value = comment_value(input.xyz->comment, "pbc");
  if (!value) return {};
  const std::vector<std::string_view> flags = tokens_of(*value, 3);
  const bool open = std::any_of(flags.begin(), flags.end(), [](std::string_view flag) {
    return flag.starts_with('F') || flag.starts_with('f') || flag == "0";
  });
  if (!open) return {};
  return {{"The file says pbc=" + shown(*value) +
           ", but the canonical copy declares the cell periodic along all three vectors."}};
}

std::vector<Observation> find_cell_not_read(const CheckInput& input) {
  if (!input.xyz) return {};
  if (input.record.cell_ang && input.record.cell_provenance.empty()) return {};
  const std::string comment = ascii_lower_cased(input.xyz->comment);
  for (const std::string_view key : {"lattice", "cell", "box", "crystal"}) {
    for (std::size_t at = comment.find(key); at != std::string::npos;
         at = comment.find(key, at + 1)) {
      std::string rest = comment.substr(at + key.size());
      for (char& c : rest) {
        if (std::string_view("=\"'{}[](),:").find(c) != std::string_view::npos) c = ' ';
      }
      // At most one word, such as "vectors", may stand between the key and its numbers.
      std::size_t numbers = 0;
      std::size_t words = 0;
      for (const std::string_view token : tokens_of(rest, 12)) {
        if (float_value(token)) {
          ++numbers;
        } else if (numbers > 0 || ++words > 1) {
          break;
        }
      }
      if (numbers < 3) continue;
      return {{"The comment line gives a cell, " + shown(input.xyz->comment.substr(at)) +
               ", in a form that is not read."}};
    }
  }
  return {};
}

std::vector<Observation> find_cell_from_companion(const CheckInput& input) {
  const std::string& companion = input.record.cell_provenance;
  if (companion.empty()) return {};
  const std::string unit = unit_in_companion(companion);
  return {{"The cell is not from the file itself but from " + utf8_text(companion) +
           " beside it, " +
           (unit.empty()
                ? std::string("which names no unit: its numbers were taken as \u00E5ngstr\u00F6m.")
                : "whose unit is " + unit + ".")}};
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
    return "it begins with an atom, " + shown(first) +
           ": the lines with the atom count and the comment are missing";
  }
  if (stripped(first).empty()) return "line 1, which is to give the atom count, is blank";
  return "line 1 is to give the atom count, but is " + shown(first);
}

}  // namespace structure_ingest::internal
