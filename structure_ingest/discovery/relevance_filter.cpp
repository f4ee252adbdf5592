#include "structure_ingest/discovery/relevance_filter.hpp"

#include <map>
#include <numeric>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/text.hpp"

namespace structure_ingest::internal {
namespace {

constexpr double CONFIDENCE_TO_DROP = 0.8;

/// The reasons of the verdicts that drop a structure, by their source; of several for one source
/// the last counts.
std::map<std::string, std::string> unrelated_sources(const RelevanceReport& report,
                                                     const std::string& role_unrelated) {
  std::map<std::string, std::string> reasons;
  for (const RelevanceVerdict& verdict : report.verdicts) {
    if (verdict.role != role_unrelated || !(verdict.confidence >= CONFIDENCE_TO_DROP)) continue;
    reasons.insert_or_assign(verdict.source, verdict.reason);
  }
  return reasons;
}

}  // namespace

std::string request_in(const Json& state) {
  // The choice is made before trimming: a brief of blanks means no request.
  for (const char* key : {"project_brief", "source_query", "user_request"}) {
    const Json& value = value_at(state, key);
    if (!is_empty(value)) return std::string(stripped(text_of(value)));
  }
  return {};
}

Filtered drop_unrelated(const std::vector<EntryNames>& entries, const std::string& request,
                        const std::string& role_unrelated,
                        const std::function<RelevanceReport()>& assess) {
  Filtered filtered;
  std::map<std::string, std::string> reasons;
  if (!request.empty() && !entries.empty()) {
    try {
      filtered.report = assess();
      reasons = unrelated_sources(filtered.report, role_unrelated);
    } catch (...) {
      // Without an assessment nothing is known to be unrelated.
    }
  }
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const EntryNames& entry = entries[i];
    auto reason = reasons.find(entry.file_name);
    if (reason == reasons.end()) reason = reasons.find(entry.path);
    if (reason == reasons.end()) {
      filtered.kept.push_back(i);
    } else {
      filtered.dropped.push_back(
          {entry.file_name, entry.formula, reason->second, entry.source_file});
    }
  }
  return filtered;
}

std::string reason_of(const DroppedStructure& dropped) {
  return dropped.reason.empty() ? "it does not match the requested material" : dropped.reason;
}

std::string note_on(const DroppedStructure& dropped) {
  return "Ignored '" + dropped.name + "' (" +
         (dropped.formula.empty() ? "unknown formula" : dropped.formula) +
         "): " + reason_of(dropped) + ".";
}

}  // namespace structure_ingest::internal
