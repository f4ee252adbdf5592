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
    // Why a file was not read may be in its warning already, word for word.
    std::string said = record.warnings.empty() ? "" : record.warnings.back();
    if (said.ends_with('.')) said.pop_back();
    const bool known = !said.empty() && finding.code == "not_read" &&
                       finding.message.find(said) != std::string::npos;
    if (finding.severity != Severity::note && !known) print_row("caution", text_of(finding));
  }
}

}  // namespace apps
