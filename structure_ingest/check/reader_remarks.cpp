// Findings on what ASE said as it read a file: the remarks that a person must decide on are
// warnings, and those that the file or a second reader answers are notes or nothing.
#include <algorithm>

#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/check/input.hpp"
#include "structure_ingest/check/wording.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::size_t MOST_WARNINGS = 20;
constexpr std::size_t MOST_BYTES_OF_WARNING = 500;

enum class Remark {
  crystal_system,  // it does not use the name of the crystal system to choose the setting
  merged_sites,    // it keeps one of two sites that share a place
  malformed_row,   // it does not use a row of a loop
  other,
};

Remark remark_of(std::string_view warning) {
  if (warning.starts_with("crystal system ") || warning.starts_with("unexpected crystal system ")) {
    return Remark::crystal_system;
  }
  if (warning.starts_with("scaled_positions ") && warning.ends_with(" are equivalent")) {
    return Remark::merged_sites;
  }
  return warning.starts_with("Wrong number ") ? Remark::malformed_row : Remark::other;
}

}  // namespace

std::vector<Observation> reader_remarks(const CheckInput& input) {
  const bool second_agrees = is_confirmed(input);
  const bool lists_operations = input.block != nullptr && input.block->has_operations();
  std::vector<std::string> known;
  std::string first_merged;
  std::size_t merged = 0;
  std::size_t more = 0;
  std::vector<Observation> observations;
  for (const std::string& warning : input.content.reader_warnings) {
    const std::string text =
        utf8_text(without_end(std::string_view(warning).substr(0, MOST_BYTES_OF_WARNING), ".!"));
    if (text.empty() || std::find(known.begin(), known.end(), text) != known.end()) continue;
    const Remark kind = remark_of(text);
    // The setting is that of the operations, and matters only for other atoms.
    if (kind == Remark::crystal_system && (lists_operations || second_agrees)) continue;
    if (kind == Remark::merged_sites) {
      if (merged++ == 0) first_merged = text;
      continue;
    }
    if (known.size() == MOST_WARNINGS) {
      ++more;
      continue;
    }
    known.push_back(text);
    const bool is_note = kind == Remark::malformed_row && second_agrees;
    observations.push_back({.code = "reader_warning",
                            .message = "ASE warned: " + text + ".",
                            .severity = is_note ? std::optional(Severity::note) : std::nullopt});
  }
  if (more > 0) {
    observations.push_back({"reader_warning", "ASE warned of more: " + std::to_string(more) +
                                                  " further remarks are not shown."});
  }
  if (merged > 0) {
    observations.push_back(
        {.code = "reader_warning",
         .message = "ASE kept one of two sites that share a place" +
                    (merged == 1 ? ": " : ", " + std::to_string(merged) + " times, first: ") +
                    first_merged + ".",
         .severity = second_agrees ? std::optional(Severity::note) : std::nullopt});
  }
  return observations;
}

}  // namespace structure_ingest::internal
