// Compares the XYZ reader with a simple reader of the same text, line by line and token by token;
// and reads the canonical copy of the result, which must give the same structure.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/memory_file.hpp"
#include "structure_ingest/base/fast/decimals.hpp"
#include "structure_ingest/base/lines.hpp"
#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/readers/xyz.hpp"
#include "structure_ingest/record/chemistry.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace {

using structure_ingest::IngestedStructure;
using structure_ingest::Vector3;
namespace internal = structure_ingest::internal;

/// The lines of a text by definition: one character at a time, from the whole buffer.
std::vector<std::string> lines_of(std::string_view bytes) {
  const std::string text = internal::without_invalid_utf8(bytes);
  std::vector<std::string> lines;
  bool open = false;
  for (std::size_t at = 0; at < text.size();) {
    const internal::Character character = internal::character_at(text, at);
    at += character.length;
    if (!open) lines.emplace_back();
    open = true;
    const char32_t c = character.value;
    const bool ends = (c >= 0x0A && c <= 0x0D) || (c >= 0x1C && c <= 0x1E) || c == 0x85 ||
                      c == 0x2028 || c == 0x2029;
    if (!ends) {
      internal::append_utf8(lines.back(), c);
      continue;
    }
    if (c == '\r' && at < text.size() && text[at] == '\n') ++at;
    open = false;
  }
  return lines;
}

std::vector<std::string> tokens_of(std::string_view line) {
  std::vector<std::string> tokens;
  bool open = false;
  for (std::size_t at = 0; at < line.size();) {
    const internal::Character character = internal::character_at(line, at);
    const bool space = internal::is_space(character.value);
    if (!space && !open) tokens.emplace_back();
    if (!space) tokens.back() += line.substr(at, character.length);
    open = !space;
    at += character.length;
  }
  return tokens;
}

struct Atoms {
  std::vector<std::string> symbols;
  std::vector<Vector3> positions_ang;
  std::string warning;
};

Atoms slow_atoms(const std::vector<std::string>& lines) {
  const auto failed = [](std::string warning) { return Atoms{{}, {}, std::move(warning)}; };
  if (lines.size() < 3) return failed("XYZ file is too short to contain atoms.");
  const std::vector<std::string> head = tokens_of(lines[0]);
  const auto count = head.empty() ? std::nullopt : internal::integer_text(head[0]);
  if (!count) return failed("First line of XYZ file is not an atom count.");
  const bool supported = count->size() <= 5 && (*count)[0] != '-' && std::stoi(*count) >= 1 &&
                         std::stoi(*count) <= 20000;
  if (!supported) return failed("Unsupported atom count: " + *count + ".");
  const auto natoms = static_cast<std::size_t>(std::stoi(*count));
  const bool orbitals = internal::contains_ignoring_ascii_case(lines[1], "orbitaltype");
  Atoms atoms;
  for (std::size_t i = 2; i < std::min(lines.size(), natoms + 2); ++i) {
    const std::vector<std::string> tokens = tokens_of(lines[i]);
    if (tokens.size() < 4) return failed("Malformed atom line: " + internal::quoted_form(lines[i]));
    const std::string symbol = internal::canonical_symbol(tokens[0]);
    if (symbol.empty()) {
      return failed("Unknown element symbol: " + internal::quoted_form(tokens[0]));
    }
    const bool shifted = tokens.size() > 4 && (orbitals || !internal::float_value(tokens[1]));
    Vector3 position{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const auto value = internal::float_value(tokens[axis + (shifted ? 2 : 1)]);
      if (!value) {
        return failed("Non-numeric coordinates in line: " + internal::quoted_form(lines[i]));
      }
      position[axis] = *value;
    }
    atoms.symbols.push_back(symbol);
    atoms.positions_ang.push_back(position);
  }
  if (atoms.symbols.size() != natoms) {
    return failed("Expected " + *count + " atoms, found " + std::to_string(atoms.symbols.size()) +
                  ".");
  }
  return atoms;
}

bool same_bits(const std::vector<Vector3>& a, const std::vector<Vector3>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
    return std::equal(x.begin(), x.end(), y.begin(), [](double u, double v) {
      return std::isnan(u) ? std::isnan(v) : u == v && std::signbit(u) == std::signbit(v);
    });
  });
}

std::string ten_decimals(const std::vector<Vector3>& positions_ang) {
  std::string text;
  for (const Vector3& position : positions_ang) {
    for (const double value : position) internal::append_ten_decimals(text += ' ', value);
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const fuzz::MemoryFile file(text);
  const std::vector<std::string> lines = lines_of(text);
  for (const std::size_t piece : {std::size_t{1}, std::size_t{64}}) {
    internal::LineReader reader(file.path(), {.piece_size = piece});
    for (const std::string& line : lines) fuzz::require(reader.next() == line);
    fuzz::require(!reader.next());
  }

  internal::CompanionFiles companions;
  const IngestedStructure record = internal::parse_xyz(file.path(), companions);
  const Atoms atoms = slow_atoms(lines);
  fuzz::require(record.ok == atoms.warning.empty());
  fuzz::require(record.symbols == atoms.symbols);
  fuzz::require(same_bits(record.positions_ang, atoms.positions_ang));
  if (!record.ok) {
    fuzz::require(record.warnings.back() == atoms.warning);
    return 0;
  }
  const fuzz::MemoryFile copy(canonical_xyz_text(record));
  const IngestedStructure again = internal::parse_xyz(copy.path(), companions);
  fuzz::require(again.ok && again.symbols == record.symbols);
  fuzz::require(again.cell_ang.has_value() == record.cell_ang.has_value());
  fuzz::require(ten_decimals(again.positions_ang) == ten_decimals(record.positions_ang));
  return 0;
}
