#include "structure_ingest/readers/xyz.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "structure_ingest/base/characters.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/fast/decimals.hpp"
#include "structure_ingest/base/fast/plain_text.hpp"
#include "structure_ingest/base/lines.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::string_view MISSING_CELL =
    "No cell/lattice information in this XYZ file. A periodic QELDA calculation needs "
    "domain.latvec: confirm the cell with the user or treat the system as a molecule in a vacuum "
    "box.";

/// The value of the first Lattice="..." field of the comment line that is not empty: the key in any
/// letter case, the value in double quotes.
std::optional<std::string_view> lattice_field(std::string_view comment) {
  constexpr std::string_view key = "lattice";
  for (std::size_t at = 0; (at = comment.find("=\"", at)) != std::string_view::npos; ++at) {
    if (at < key.size()) continue;
    if (ascii_lower_cased(comment.substr(at - key.size(), key.size())) != key) continue;
    const std::string_view value = comment.substr(at + 2);
    const std::size_t end = value.find('"');
    if (end == std::string_view::npos) break;  // no later field has a closing quote either
    if (end > 0) return value.substr(0, end);
  }
  return std::nullopt;
}

/// Sets the cell if the comment line gives nine numbers.
void read_lattice(std::string_view comment, IngestedStructure& record) {
  const std::optional<std::string_view> field = lattice_field(comment);
  if (!field) return;
  std::vector<double> numbers;
  std::string_view rest = *field;
  for (std::string_view token = next_token(rest); !token.empty(); token = next_token(rest)) {
    const std::optional<double> number = float_value(token);
    if (!number) {
      record.warnings.emplace_back("Extended-XYZ Lattice field could not be parsed.");
      return;
    }
    numbers.push_back(*number);
  }
  if (numbers.size() != 9) return;
  record.cell_ang.emplace(3);
  for (std::size_t i = 0; i < 9; ++i) (*record.cell_ang)[i / 3][i % 3] = numbers[i];
}

struct Atoms {
  std::vector<std::string> symbols;
  std::vector<Vector3> positions_ang;
};

/// Notes a label in capitals, such as "CA", that was read as a symbol of two letters.
void note_label(std::string_view label, const std::string& symbol, const Atoms& before,
                XyzContent& content) {
  if (symbol.size() != 2 || label.size() < 2 || !is_capital(label[1])) return;
  auto& labels = content.capital_labels;
  const auto of_symbol = std::count_if(labels.begin(), labels.end(), [&](const auto& known) {
    return before.symbols[known.first] == symbol;
  });
  if (static_cast<std::size_t>(of_symbol) == XyzContent::MOST_CAPITAL_LABELS) return;
  labels.emplace_back(before.symbols.size(), label.substr(0, XyzContent::MOST_LINE));
}

/// The fast path for ordinary atom lines: ASCII, plain decimal numbers, ended by a line feed. Reads
/// the line at `text` and moves `text` past it. Returns false and changes nothing for any other
/// line, valid or not: read_atom() decides about those, and about labels in capitals if
/// `leave_capitals`.
template <bool leave_capitals>
bool read_plain_atom(const char*& text, const KnownSymbols& known, Atoms& atoms) {
  const char* at = text;
  while (*at == ' ' || *at == '\t') ++at;
  const std::size_t symbol_size = known.length(at[0], at[1]);
  if (symbol_size == 0) return false;
  if (leave_capitals && symbol_size == 2 && is_capital(at[1])) return false;
  const std::array<char, 2> symbol = {static_cast<char>(at[0] & ~0x20),
                                      static_cast<char>(at[1] | 0x20)};
  ++at;
  while (*at > ' ' && *at < 0x7F) ++at;
  Vector3 position{};
  at = read_decimals(at, position);
  if (at == nullptr) return false;
  if (*at == ' ' || *at == '\t') at = end_of_plain_text(at);
  if (*at == '\r') ++at;
  if (*at != '\n') return false;
  atoms.symbols.emplace_back(symbol.data(), 2).erase(symbol_size);
  atoms.positions_ang.push_back(position);
  text = at + 1;
  return true;
}

/// Reads buffered ordinary atom lines, until there are `count` atoms.
template <bool leave_capitals>
void read_plain_atoms(LineReader& lines, std::size_t count, Atoms& atoms) {
  const KnownSymbols& known = known_symbols();
  for (;;) {
    const std::string_view ahead = lines.lines_ahead();
    const char* at = ahead.data();
    const char* const end = at + ahead.size();
    while (at != end && atoms.symbols.size() < count &&
           read_plain_atom<leave_capitals>(at, known, atoms)) {
    }
    lines.skip(static_cast<std::size_t>(at - ahead.data()));
    if (at != end || ahead.empty()) return;
  }
}

/// Reads any atom line; returns the warning when it is malformed.
std::optional<std::string> read_atom(std::string_view line, bool vendor_orbital_column,
                                     Atoms& atoms, XyzContent* content) {
  std::array<std::string_view, 5> tokens;
  std::size_t count = 0;
  std::string_view rest = line;
  while (count < tokens.size()) {
    const std::string_view token = next_token(rest);
    if (token.empty()) break;
    tokens[count++] = token;
  }
  if (count < 4) return "Malformed atom line: " + quoted_form(line);
  std::string symbol = canonical_symbol(tokens[0]);
  if (symbol.empty()) return "Unknown element symbol: " + quoted_form(tokens[0]);
  // With five tokens or more, the second may be an orbital name such as 3d.
  const bool has_orbital_column = count == 5 && (vendor_orbital_column || !float_value(tokens[1]));
  const std::size_t coordinate_start = has_orbital_column ? 2 : 1;
  Vector3 position{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const std::optional<double> coordinate = float_value(tokens[coordinate_start + axis]);
    if (!coordinate) return "Non-numeric coordinates in line: " + quoted_form(line);
    position[axis] = *coordinate;
  }
  if (content != nullptr) note_label(tokens[0], symbol, atoms, *content);
  atoms.symbols.push_back(std::move(symbol));
  atoms.positions_ang.push_back(position);
  return std::nullopt;
}

/// Reads up to `wanted` atoms; returns the warning of the line that is no atom, if one is.
std::optional<std::string> read_atoms(LineReader& lines, std::size_t wanted,
                                      bool vendor_orbital_column, Atoms& atoms,
                                      XyzContent* content) {
  while (atoms.symbols.size() < wanted) {
    const bool is_sampled =
        content != nullptr && content->first_atoms.size() < XyzContent::MOST_FIRST_ATOMS;
    if (!vendor_orbital_column && !is_sampled) {
      (content == nullptr ? read_plain_atoms<false> : read_plain_atoms<true>)(lines, wanted, atoms);
      if (atoms.symbols.size() == wanted) break;
    }
    const std::optional<std::string_view> line = lines.next();
    if (!line) {
      return "Expected " + std::to_string(wanted) + " atoms, found " +
             std::to_string(atoms.symbols.size()) + ".";
    }
    if (is_sampled) content->first_atoms.emplace_back(line->substr(0, XyzContent::MOST_LINE));
    std::optional<std::string> warning = read_atom(*line, vendor_orbital_column, atoms, content);
    if (warning && content != nullptr) {
      content->stopped_line = atoms.symbols.size() + 3;
      content->stopped_text = line->substr(0, XyzContent::MOST_LINE);
    }
    if (warning) return warning;
  }
  return std::nullopt;
}

/// Reads the frame whose first line is `line` into `record`; returns the warning that ended it, if
/// any did.
std::optional<std::string> read_frame(LineReader& lines, std::optional<std::string_view> line,
                                      IngestedStructure& record, XyzContent* content = nullptr) {
  const std::string first_line(line.value_or(""));  // a copy: `next` ends the life of a line
  if (line) line = lines.next();
  const std::string comment(line.value_or(""));
  if (!line || !lines.has_next()) return "XYZ file is too short to contain atoms.";

  std::int64_t count = 0;
  if (std::optional<std::string> warning = read_atom_count(first_line, count)) return warning;
  read_lattice(comment, record);
  const bool vendor_orbital_column = contains_ignoring_ascii_case(comment, "orbitaltype");
  if (content != nullptr) content->comment = comment.substr(0, XyzContent::MOST_LINE);

  // Do not trust the count: reserve at most what the file's size allows, at eight bytes a line.
  Atoms atoms;
  const auto wanted = static_cast<std::size_t>(count);
  const std::size_t expected = std::min(wanted, lines.file_size() / 8 + 1);
  atoms.symbols.reserve(expected);
  atoms.positions_ang.reserve(expected);
  if (auto warning = read_atoms(lines, wanted, vendor_orbital_column, atoms, content)) {
    return warning;
  }
  record.natoms = count;
  record.symbols = std::move(atoms.symbols);
  record.positions_ang = std::move(atoms.positions_ang);
  const SymbolCounts counts = symbol_counts(record.symbols);
  record.species = species_of(counts);
  record.formula = formula_of(counts);
  return std::nullopt;
}

/// The number of atoms that the first line of a later frame gives. It may exceed what is read:
/// such a frame is passed over like any other.
std::size_t atoms_of_later_frame(std::string_view line) {
  const std::optional<std::string> digits = integer_text(next_token(line));
  const bool is_usable = digits && digits->size() <= 12 && digits->front() != '-';
  return is_usable ? static_cast<std::size_t>(std::stoull(*digits)) : 0;
}

/// Counts the frames behind the first, which ended at line `number`, and finds the first line that
/// belongs to none of them. An error here ends only the count: whether the file can be read to its
/// end is asked afterwards.
void count_frames(LineReader& lines, std::size_t number, XyzContent& content) try {
  lines.limit_lines(16 * XyzContent::MOST_LINE);
  while (const std::optional<std::string_view> line = lines.next()) {
    ++number;
    if (stripped(*line).empty()) continue;
    content.trailing_line = number;
    content.trailing_text = line->substr(0, XyzContent::MOST_LINE);
    const std::size_t atoms = atoms_of_later_frame(*line);
    if (atoms == 0) return;
    for (std::size_t i = 0; i < atoms + 1; ++i) {
      if (!lines.next()) return;
      if (lines.taken() <= XyzContent::MOST_COUNTED) continue;
      content.trailing_line = 0;
      content.counted_all = false;
      return;
    }
    number += atoms + 1;
    ++content.frames;
    content.trailing_line = 0;
  }
} catch (const std::system_error&) {
  content.trailing_line = 0;
  content.counted_all = false;
}

/// The record of a file whose frame was read, up to the warning if there is one.
IngestedStructure completed(IngestedStructure record, std::optional<std::string> warning,
                            CompanionFiles& companions) {
  if (warning) {
    record.warnings.push_back(*std::move(warning));
    return record;
  }
  if (!record.cell_ang) {
    CompanionCell companion = companions.vorendal_cell(record.source_path);
    if (companion.cell_ang) {
      record.cell_ang = std::move(companion.cell_ang);
      record.cell_provenance = std::move(companion.provenance);
    }
  }
  if (!record.cell_ang) record.warnings.emplace_back(MISSING_CELL);
  record.ok = true;
  return record;
}

}  // namespace

std::optional<std::string> read_atom_count(std::string_view line, std::int64_t& count) {
  const std::optional<std::string> digits = integer_text(next_token(line));
  if (!digits) return "First line of XYZ file is not an atom count.";
  const bool in_range = digits->size() <= 5 && digits->front() != '-';
  count = in_range ? std::stoll(*digits) : 0;
  if (count < 1 || count > MAX_ATOMS) return "Unsupported atom count: " + *digits + ".";
  return std::nullopt;
}

IngestedStructure parse_xyz_frame(const std::string& path, LineReader& lines,
                                  std::optional<std::string_view> first_line,
                                  CompanionFiles& companions) {
  IngestedStructure record{.source_path = path, .format = "xyz"};
  std::optional<std::string> warning = read_frame(lines, first_line, record);
  return completed(std::move(record), std::move(warning), companions);
}

IngestedStructure parse_xyz(const std::string& path, CompanionFiles& companions,
                            const XyzExtras& extras) {
  IngestedStructure record{.source_path = path, .format = "xyz"};
  FileContent* const content = extras.content;
  std::optional<std::string> warning;
  try {
    std::optional<Sha256> digest;
    if (extras.fingerprint) digest.emplace();
    LineReader lines(path, {.digest = digest ? &*digest : nullptr,
                            .head = content == nullptr ? nullptr : &content->bytes});
    warning = read_frame(lines, lines.next(), record, content == nullptr ? nullptr : &content->xyz);
    if (content != nullptr && !warning) {
      content->bytes.clear();
      count_frames(lines, record.symbols.size() + 2, content->xyz);
    }
    lines.skip_rest();
    if (digest) record.sha256 = digest->hex().substr(0, FINGERPRINT_DIGITS);
  } catch (const std::system_error& error) {
    record = {.source_path = path, .format = "xyz"};
    warning = std::string("Could not read file: ") + error.what();
    if (content != nullptr) content->readable = false;
  }
  return completed(std::move(record), std::move(warning), companions);
}

}  // namespace structure_ingest::internal
