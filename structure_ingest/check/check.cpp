#include "structure_ingest/check/check.hpp"

#include <algorithm>
#include <utility>

#include "structure_ingest/check/input.hpp"
#include "structure_ingest/readers/read_structure.hpp"

namespace structure_ingest {
namespace {

std::vector<Finding> check(const IngestedStructure& record, const FileContent& content,
                           const CheckOptions& options) {
  internal::CheckInput input{
      .record = record, .content = content, .search_symmetry = options.search_symmetry};
  internal::derive(input);
  if (options.space_group != nullptr) *options.space_group = input.symmetry;

  std::vector<internal::Observation> observations;
  for (const auto observe : {internal::check_readable, internal::check_geometry,
                             internal::check_xyz, internal::check_cif, internal::check_poscar}) {
    std::ranges::move(observe(input), std::back_inserter(observations));
  }
  std::vector<Finding> findings;
  for (const FindingKind& kind : finding_kinds()) {
    for (internal::Observation& observation : observations) {
      if (observation.message.empty() || observation.code != kind.code) continue;
      findings.push_back({.code = kind.code,
                          .severity = observation.severity.value_or(kind.worst),
                          .message = std::move(observation.message),
                          .atoms = std::move(observation.atoms),
                          .source = kind.source});
    }
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& a, const Finding& b) { return a.severity > b.severity; });
  return findings;
}

}  // namespace

std::vector<Finding> check_structure(const ParsedStructure& parsed, const CheckOptions& options) {
  if (!parsed.content) return check_structure(parsed.record, options);
  return check(parsed.record, *parsed.content, options);
}

std::vector<Finding> check_structure(const IngestedStructure& record, const CheckOptions& options) {
  return check(record, internal::content_of_file(record), options);
}

CheckedStructure check_structure_file(const std::string& path) {
  ParsedStructure parsed = StructureParser().parse(path, {.content = true});
  std::vector<Finding> findings = check_structure(parsed, {.search_symmetry = true});
  return {.record = std::move(parsed.record), .findings = std::move(findings)};
}

Severity worst_severity(std::span<const Finding> findings) {
  Severity worst = Severity::note;
  for (const Finding& finding : findings) worst = std::max(worst, finding.severity);
  return worst;
}

}  // namespace structure_ingest
