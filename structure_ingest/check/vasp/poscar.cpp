#include "structure_ingest/check/vasp/poscar.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/wording.hpp"

namespace structure_ingest::internal {
namespace {

/// Examine at most this many lines.
constexpr std::size_t MOST_LINES = 2'000'000;
/// More atoms than this are counted as this many, so that the sum of all counts has a value.
constexpr std::size_t MOST_COUNTED = 1'000'000'000'000'000;

std::vector<double> leading_numbers(std::string_view line, std::size_t most) {
  std::vector<double> numbers;
  while (numbers.size() < most) {
    const std::optional<double> number = float_value(next_token(line));
    if (!number) break;
    numbers.push_back(*number);
  }
  return numbers;
}

std::optional<std::size_t> count_of(std::string_view token) {
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), count);
  if (error != std::errc() || end != token.data() + token.size()) return std::nullopt;
  return count;
}

std::string line_problem(std::size_t index, const std::vector<std::string_view>& lines,
                         const std::string& expected) {
  const std::string number = std::to_string(index + 1);
  if (index >= lines.size()) {
    return "it ends before line " + number + ", which is to be " + expected;
  }
  return "line " + number + " is " + excerpt(lines[index]) + " where " + expected + " is expected";
}

/// Reads the lines of symbols and counts at `at` and advances it; false when they are malformed.
bool read_species(const std::vector<std::string_view>& lines, std::size_t& at, PoscarFile& file) {
  if (at >= lines.size()) return false;
  std::vector<std::string_view> tokens = tokens_of(lines[at], 1000);
  if (tokens.empty()) return false;
  if (!count_of(tokens[0])) {
    const auto comment = std::find_if(tokens.begin(), tokens.end(),
                                      [](auto token) { return begins_with(token, "!#"); });
    file.symbols.assign(tokens.begin(), comment);
    if (++at >= lines.size()) return false;
    tokens = tokens_of(lines[at], 1000);
  }
  for (const std::string_view token : tokens) {
    const std::optional<std::size_t> count = count_of(token);
    if (!count) break;
    file.counts.push_back(*count);
    file.natoms = std::min(file.natoms + std::min(*count, MOST_COUNTED), MOST_COUNTED);
  }
  ++at;
  return !file.counts.empty();
}

/// Reads the lines of atoms from `at` on, and looks at what follows; returns the problem.
std::string read_atoms(const std::vector<std::string_view>& lines, std::size_t at,
                       PoscarFile& file) {
  const auto has_numbers = [&](std::size_t count) {
    return at < lines.size() && leading_numbers(lines[at], count).size() == count;
  };
  for (; file.atoms.size() < file.natoms && has_numbers(3); ++at) file.atoms.push_back(lines[at]);
  if (at >= MOST_LINES) return {};
  // Do not trust the count: it may be of more atoms than there are lines.
  if (file.atoms.size() < file.natoms) {
    return std::to_string(file.natoms) + " atoms are counted, but " +
           line_problem(at, lines, "the position of atom " + std::to_string(file.atoms.size() + 1));
  }
  for (; has_numbers(3); ++at) ++file.more_atoms;
  if (file.more_atoms > 0) return {};
  // Velocities follow a blank line, or a line that names their coordinates.
  if (at < lines.size() && !has_numbers(1)) ++at;
  for (std::size_t i = 0; i < file.natoms && has_numbers(3) && !file.velocities; ++i, ++at) {
    for (const double component : leading_numbers(lines[at], 3)) {
      file.velocities = file.velocities || component != 0;
    }
  }
  return {};
}

/// Reads all lines up to the first problem, which it returns.
std::string read_lines(const std::vector<std::string_view>& lines, PoscarFile& file) {
  if (!lines.empty()) file.title = lines[0];
  if (lines.size() > 1) file.scales = leading_numbers(lines[1], 4);
  if (file.scales.empty()) return line_problem(1, lines, "the scale factor");
  std::size_t at = 2;
  for (Vector3& vector : file.vectors) {
    const std::vector<double> numbers =
        at < lines.size() ? leading_numbers(lines[at], 3) : std::vector<double>();
    if (numbers.size() < 3) return line_problem(at, lines, "a lattice vector of three numbers");
    std::copy(numbers.begin(), numbers.end(), vector.begin());
    ++at;
  }
  if (!read_species(lines, at, file)) {
    return line_problem(at, lines, "the number of atoms of each species");
  }
  file.selective = at < lines.size() && begins_with(lines[at], "sS");
  if (file.selective) ++at;
  if (at >= lines.size()) return line_problem(at, lines, "'Direct' or 'Cartesian'");
  file.mode_line = at + 1;
  file.mode = lines[at];
  return read_atoms(lines, at + 1, file);
}

}  // namespace

PoscarFile poscar_lines(std::string_view text) {
  PoscarFile file;
  file.problem = read_lines(lines_of(text, MOST_LINES), file);
  return file;
}

}  // namespace structure_ingest::internal
