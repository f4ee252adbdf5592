#include "structure_ingest/discovery/relevance_filter.hpp"

#include <map>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/discovery/state_entries.hpp"

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

std::string request_in(const StateHost& state) {
  // The choice is made before trimming: a brief of blanks means no request.
  for (const char* key : {"project_brief", "source_query", "user_request"}) {
    const Json& value = value_of(state, key);
    if (!is_empty(value)) return std::string(stripped(text_of(value)));
  }
  return {};
}

EntryNames names_of(const Json& entry) {
  const Json& source_file = member_of(value_at(entry, "metadata"), "source_file");
  const std::string path = text_or_empty(value_at(entry, "path"));
  return {.file_name = file_name(is_empty(source_file) ? path : text_of(source_file)),
          .path = path,
          .formula = text_or_empty(value_at(entry, "formula")),
          .source_file = source_text_of(entry)};
}

RelevanceResult drop_unrelated(const StateHost& host, const std::vector<std::size_t>& places,
                               const std::string& role_unrelated,
                               const std::set<std::string>& wanted) {
  RelevanceResult result;
  const std::string request = request_in(host);
  if (!request.empty() && !places.empty()) {
    std::function<RelevanceReport()> read_report;
    try {
      read_report = host.assess(places, request);
    } catch (const Interruption&) {
      throw;
    } catch (...) {
      // Without an assessment nothing is known to be unrelated.
    }
    if (read_report) result.report = read_report();
  }
  const std::map<std::string, std::string> reasons =
      unrelated_sources(result.report, role_unrelated);
  if (reasons.empty()) {
    result.kept = places;
    return result;
  }
  for (const std::size_t place : places) {
    const EntryNames entry = names_of(host.entry(place));
    auto reason = reasons.find(entry.file_name);
    if (reason == reasons.end()) reason = reasons.find(entry.path);
    if (reason == reasons.end()) {
      result.kept.push_back(place);
      continue;
    }
    const bool is_wanted = wanted.contains(entry.source_file);
    (is_wanted ? result.undone : result.dropped)
        .push_back({entry.file_name, entry.formula, reason->second, entry.source_file});
    if (is_wanted) result.kept.push_back(place);
  }
  return result;
}

std::string reason_of(const DroppedStructure& dropped) {
  return dropped.reason.empty() ? "it does not match the requested material" : dropped.reason;
}

std::string beginning_of_note(const std::string& name, const std::string& formula) {
  return "Ignored '" + name + "' (" + (formula.empty() ? "unknown formula" : formula) + "): ";
}

std::string note_on(const DroppedStructure& dropped) {
  return beginning_of_note(dropped.name, dropped.formula) + reason_of(dropped) + ".";
}

}  // namespace structure_ingest::internal
