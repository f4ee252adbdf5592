#include "structure_ingest/discovery/relevance_filter.hpp"

#include <cxxabi.h>

#include <map>
#include <utility>

#include "structure_ingest/base/json_memory.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/text.hpp"

namespace structure_ingest::internal {
namespace {

constexpr double CONFIDENCE_TO_DROP = 0.8;

/// What the user asked for: the first value that is not empty, trimmed afterwards, so that a brief
/// of blanks means no request.
std::string request_in(const Json& state) {
  for (const char* key : {"project_brief", "source_query", "user_request"}) {
    const Json& value = value_at(state, key);
    if (!is_empty(value)) return std::string(stripped(text_of(value)));
  }
  return {};
}

/// The verdicts that drop a structure, by their source; of several for one source the last counts.
std::map<std::string, RelevanceVerdict> unrelated_verdicts(RelevanceReport&& report,
                                                           const std::string& role_unrelated) {
  std::map<std::string, RelevanceVerdict> unrelated;
  for (RelevanceVerdict& verdict : report.verdicts) {
    if (verdict.role != role_unrelated || !(verdict.confidence >= CONFIDENCE_TO_DROP)) continue;
    const std::string source = verdict.source;
    unrelated.insert_or_assign(source, std::move(verdict));
  }
  return unrelated;
}

std::string source_name(const Json& entry) {
  const Json& source_file = member_of(value_at(entry, "metadata"), "source_file");
  return file_name(text_or_empty(is_empty(source_file) ? value_at(entry, "path") : source_file));
}

}  // namespace

FilteredEntries drop_unrelated_structures(std::vector<Json> entries, const Json& state,
                                          const Collaborators& collaborators) {
  const TakenApart entries_at_end(entries);
  const std::string request = request_in(state);
  if (request.empty() || entries.empty()) return {std::move(entries), {}};
  std::map<std::string, RelevanceVerdict> unrelated;
  try {
    unrelated =
        unrelated_verdicts(collaborators.assess_structure_relevance(entries, request, state),
                           collaborators.ROLE_UNRELATED);
  } catch (const abi::__forced_unwind&) {
    throw;  // the end of the thread is no error
  } catch (...) {
    // Nobody can tell what is unrelated: everything passes.
    return {std::move(entries), {}};
  }
  FilteredEntries result;
  const TakenApart kept_on_error(result.kept, On::ERROR);
  result.kept.reserve(entries.size());
  for (Json& entry : entries) {
    const std::string name = source_name(entry);
    auto verdict = unrelated.find(name);
    if (verdict == unrelated.end())
      verdict = unrelated.find(text_or_empty(value_at(entry, "path")));
    if (verdict == unrelated.end()) {
      result.kept.push_back(std::move(entry));
      continue;
    }
    const std::string formula = text_or_empty(value_at(entry, "formula"));
    const std::string& reason = verdict->second.reason;
    result.notes.push_back(
        "Ignored '" + name + "' (" + (formula.empty() ? "unknown formula" : formula) +
        "): " + (reason.empty() ? "it does not match the requested material" : reason) + ".");
  }
  return result;
}

}  // namespace structure_ingest::internal
