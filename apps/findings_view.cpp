#include "apps/findings_view.hpp"

#include "apps/structure_view.hpp"

namespace apps {

using structure_ingest::Severity;

std::string text_of(const structure_ingest::Finding& finding) {
  return finding.code + ": " + finding.message;
}

std::string severity_text(const structure_ingest::internal::Rule& rule) {
  std::string text = structure_ingest::severity_name(rule.worst);
  if (rule.least == rule.worst) return text;
  if (rule.worst == Severity::error && rule.least == Severity::note) text += ", warning";
  return text + " or " + structure_ingest::severity_name(rule.least);
}

void show_cautions(const structure_ingest::IngestedStructure& record,
                   std::span<const structure_ingest::Finding> findings) {
  for (const structure_ingest::Finding& finding : findings) {
    // The warnings of our own reader have said already why a file was not read.
    const bool is_said =
        finding.code == "not_read" && record.format != "cif" && record.format != "vasp";
    if (finding.severity != Severity::note && !is_said) print_row("caution", text_of(finding));
  }
}

}  // namespace apps
