#include "apps/summary.hpp"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/base/characters.hpp"

namespace apps {
namespace {

constexpr std::size_t MOST_AT_A_GLANCE = 10;

/// The kind of a warning: its first sentence without what it says of one file.
std::string kind_of(const std::string& warning) {
  std::string kind;
  for (std::size_t i = 0; i < warning.size(); ++i) {
    const char c = warning[i];
    const bool is_digit = structure_ingest::internal::is_digit(c);
    if (c == ':' || (c == '.' && (i + 1 == warning.size() || warning[i + 1] == ' '))) break;
    if (!is_digit) {
      kind += c;
    } else if (!kind.ends_with('N')) {
      kind += 'N';
    }
  }
  return kind;
}

void print_counts(const std::map<std::string, std::size_t>& counts, const std::string& label) {
  std::vector<std::pair<std::string, std::size_t>> sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  for (const auto& [kind, count] : sorted) print_row(label, std::to_string(count) + ": " + kind);
}

}  // namespace

void Summary::add(const structure_ingest::IngestedStructure& record) {
  ++(record.ok ? read_ : failed_);
  std::set<std::string> kinds;  // of one file each counts once
  for (const std::string& warning : record.warnings) kinds.insert(kind_of(warning));
  for (const std::string& kind : kinds) ++(record.ok ? warnings_ : errors_)[kind];
}

void Summary::add(std::span<const structure_ingest::Finding> findings) {
  std::set<std::string> codes;
  for (const structure_ingest::Finding& finding : findings) {
    if (finding.code == "not_read") continue;  // the reader's own words are among the errors
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
