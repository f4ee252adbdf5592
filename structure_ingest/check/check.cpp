#include "structure_ingest/check/check.hpp"

#include <algorithm>

#include "structure_ingest/check/rules.hpp"
#include "structure_ingest/check/subject.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace structure_ingest {

const char* severity_name(Severity severity) {
  switch (severity) {
    case Severity::error:
      return "error";
    case Severity::warning:
      return "warning";
    case Severity::note:
      break;
  }
  return "note";
}

std::vector<Finding> check_structure(const IngestedStructure& record, const CheckOptions& options) {
  internal::Subject subject{.record = record,
                            .reader_warnings = options.reader_warnings,
                            .search_symmetry = options.search_symmetry};
  internal::look_at(subject);
  return internal::findings_on(subject);
}

std::vector<Finding> internal::findings_on(const Subject& subject) {
  std::vector<Finding> findings;
  for (const Rule& rule : rules()) {
    for (Seen& seen : rule.look(subject)) {
      findings.push_back({.code = rule.code,
                          .severity = seen.severity.value_or(rule.worst),
                          .message = std::move(seen.message),
                          .atoms = std::move(seen.atoms),
                          .source = rule.source});
    }
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& a, const Finding& b) { return a.severity > b.severity; });
  return findings;
}

CheckedStructure check_structure_file(const std::string& path) {
  StructureParser parser;
  CheckedStructure checked{.record = parser.parse(path), .findings = {}};
  checked.findings = check_structure(
      checked.record, {.reader_warnings = parser.reader_warnings(), .search_symmetry = true});
  return checked;
}

Severity worst_severity(std::span<const Finding> findings) {
  Severity worst = Severity::note;
  for (const Finding& finding : findings) worst = std::max(worst, finding.severity);
  return worst;
}

}  // namespace structure_ingest
