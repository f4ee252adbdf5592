#include "telling/words.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

#include "structure_ingest/base/numbers.hpp"
#include "structure_ingest/base/words.hpp"

namespace telling {

namespace base = structure_ingest::internal;
using structure_ingest::Finding;
using structure_ingest::Severity;

std::string in_quotes(std::string_view text) {
  constexpr std::size_t MOST = 500;
  return base::quoted_form(base::shortened(text, MOST));
}

std::string composition(std::string_view formula, std::int64_t natoms) {
  return std::string(formula) + ", " + std::to_string(natoms) + (natoms == 1 ? " atom" : " atoms");
}

std::string utc_time(std::int64_t seconds) {
  const std::time_t time = seconds;
  std::tm parts{};
  std::array<char, 32> text{};
  gmtime_r(&time, &parts);
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

Json rounded(const std::optional<double>& value) {
  constexpr int DIGITS = 6;
  if (!value) return nullptr;
  const std::string text = base::number_text(*value, DIGITS);
  double number = *value;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::string finding_text(const Finding& finding) {
  return finding.code + ": " + finding.message;
}

std::string severity_text(const structure_ingest::FindingKind& kind) {
  std::string text = structure_ingest::severity_name(kind.worst);
  if (kind.least == kind.worst) return text;
  if (kind.worst == Severity::error && kind.least == Severity::note) text += ", warning";
  return text + " or " + structure_ingest::severity_name(kind.least);
}

std::string severity_counts(std::span<const Finding> findings) {
  std::string text;
  for (const Severity severity : {Severity::error, Severity::warning, Severity::note}) {
    const auto count =
        std::count_if(findings.begin(), findings.end(),
                      [severity](const Finding& each) { return each.severity == severity; });
    if (count == 0) continue;
    text += (text.empty() ? "" : ", ") + base::counted(static_cast<std::size_t>(count),
                                                       structure_ingest::severity_name(severity));
  }
  return text;
}

std::string known_codes() {
  std::string codes;
  for (const structure_ingest::FindingKind& kind : structure_ingest::finding_kinds()) {
    codes += (codes.empty() ? "" : ", ") + std::string(kind.code);
  }
  return codes;
}

}  // namespace telling
