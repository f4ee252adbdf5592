#include "apps/summary.hpp"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/base/characters.hpp"

namespace apps {
namespace {

constexpr std::size_t MOST_AT_A_GLANCE = 10;

/// The kind of a warning: its first sentence without what it says of one file. What stands in
/// quotes is a part of the kind where it is a single word, such as "global_".
std::string kind_of(std::string_view warning) {
  constexpr std::size_t LONGEST_WORD = 16;
  std::string kind;
  for (std::size_t i = 0; i < warning.size(); ++i) {
    const char c = warning[i];
    if (c == ':' || c == ';' || (c == '.' && (i + 1 == warning.size() || warning[i + 1] == ' '))) {
      break;
    }
    const std::size_t end = c == '\'' ? warning.find('\'', i + 1) : std::string_view::npos;
    if (end != std::string_view::npos) {
      const std::string_view quoted = warning.substr(i + 1, end - i - 1);
      const bool is_word = quoted.size() <= LONGEST_WORD &&
                           std::none_of(quoted.begin(), quoted.end(), [](char letter) {
                             return letter == ' ' || structure_ingest::internal::is_digit(letter);
                           });
      kind.append(is_word ? warning.substr(i, end - i + 1) : "'...'");
      i = end;
    } else if (!structure_ingest::internal::is_digit(c)) {
      kind += c;
    } else if (!kind.ends_with('N')) {
      kind += 'N';
    }
  }
  return kind;
}

/// Why a file was not read: what the finding says where the reader is not ours, whose own words
/// tell as much.
std::string cause_of(const structure_ingest::IngestedStructure& record,
                     std::span<const structure_ingest::Finding> findings) {
  constexpr std::string_view NO_STRUCTURE = "The file gave no structure: ";
  for (const structure_ingest::Finding& finding : findings) {
    const std::string_view message = finding.message;
    const bool is_of_ase = record.format == "cif" || record.format == "vasp";
    if (is_of_ase && finding.code == "not_read" && message.starts_with(NO_STRUCTURE)) {
      return kind_of(message.substr(NO_STRUCTURE.size()));
    }
  }
  return record.warnings.empty() ? "no reason given" : kind_of(record.warnings.front());
}

void print_counts(const std::map<std::string, std::size_t>& counts, const std::string& label) {
  std::vector<std::pair<std::string, std::size_t>> sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  for (const auto& [kind, count] : sorted) print_row(label, std::to_string(count) + ": " + kind);
}

}  // namespace

void Summary::add(const structure_ingest::IngestedStructure& record,
                  std::span<const structure_ingest::Finding> findings) {
  ++(record.ok ? read_ : failed_);
  std::set<std::string> kinds;  // of one file each counts once
  if (!record.ok) {
    ++errors_[cause_of(record, findings)];
  } else {
    for (const std::string& warning : record.warnings) kinds.insert(kind_of(warning));
  }
  for (const std::string& kind : kinds) ++warnings_[kind];
  std::set<std::string> codes;
  for (const structure_ingest::Finding& finding : findings) {
    if (finding.code == "not_read") continue;  // it is among the errors
    codes.insert(finding.code + " (" + structure_ingest::severity_name(finding.severity) + ")");
  }
  for (const std::string& code : codes) ++findings_[code];
}

void Summary::print() const {
  if (read_ + failed_ <= MOST_AT_A_GLANCE) return;
  print_line(std::to_string(read_ + failed_) + " files: " + std::to_string(read_) + " read, " +
             std::to_string(failed_) + " not");
  print_counts(errors_, "error");
  print_counts(warnings_, "warning");
  print_counts(findings_, "finding");
}

}  // namespace apps
