#include "structure_ingest/check/vasp/poscar.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/wording.hpp"

namespace structure_ingest::internal {
namespace {

/// Do not trust the count of atoms: examine at most this many lines.
constexpr std::size_t MOST_LINES = 2'000'000;

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
    file.natoms = std::min(file.natoms + std::min(*count, MOST_LINES), 2 * MOST_LINES);
  }
  ++at;
  return !file.counts.empty();
}

void read_atoms(const std::vector<std::string_view>& lines, std::size_t at, PoscarFile& file) {
  for (; at < lines.size() && file.atoms.size() < file.natoms; ++at) {
    if (leading_numbers(lines[at], 3).size() < 3) break;
    file.atoms.push_back(lines[at]);
  }
  if (file.atoms.size() < file.natoms) {
    file.problem =
        std::to_string(file.natoms) + " atoms are counted, but " +
        line_problem(at, lines, "the position of atom " + std::to_string(file.atoms.size() + 1));
    return;
  }
  while (at < lines.size() && leading_numbers(lines[at], 3).size() == 3) {
    ++file.more_atoms;
    ++at;
  }
  // Velocities follow a blank line, or a line that names their coordinates.
  if (at < lines.size() && leading_numbers(lines[at], 1).empty() && file.more_atoms == 0) ++at;
  file.velocities = file.more_atoms == 0 && at < lines.size() && at > 0 &&
                    leading_numbers(lines[at], 3).size() == 3;
}

}  // namespace

PoscarFile poscar_lines(std::string_view text) {
  PoscarFile file;
  const std::vector<std::string_view> lines = lines_of(text, MOST_LINES);
  if (!lines.empty()) file.title = lines[0];
  if (lines.size() > 1) file.scales = leading_numbers(lines[1], 4);
  if (file.scales.empty()) {
    file.problem = line_problem(1, lines, "the scale factor");
    return file;
  }
  for (std::size_t i = 0; i < 3; ++i) {
    const std::vector<double> numbers =
        lines.size() > 2 + i ? leading_numbers(lines[2 + i], 3) : std::vector<double>();
    if (numbers.size() < 3) {
      file.problem = line_problem(2 + i, lines, "a lattice vector of three numbers");
      return file;
    }
    std::copy(numbers.begin(), numbers.end(), file.vectors[i].begin());
  }
  std::size_t at = 5;
  if (!read_species(lines, at, file)) {
    file.problem = line_problem(at, lines, "the number of atoms of each species");
    return file;
  }
  file.selective = at < lines.size() && begins_with(lines[at], "sS");
  if (file.selective) ++at;
  if (at >= lines.size()) {
    file.problem = line_problem(at, lines, "'Direct' or 'Cartesian'");
    return file;
  }
  file.mode_line = at + 1;
  file.mode = lines[at];
  read_atoms(lines, at + 1, file);
  return file;
}

}  // namespace structure_ingest::internal
