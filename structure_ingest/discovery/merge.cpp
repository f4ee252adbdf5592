#include "structure_ingest/discovery/merge.hpp"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/discovery/relevance_filter.hpp"
#include "structure_ingest/discovery/take_out.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/ingest/source_entry.hpp"

namespace structure_ingest::internal {
namespace {

std::vector<std::string> warnings_of(const Json& entry) {
  std::vector<std::string> warnings;
  const Json& list = value_at(entry, "warnings");
  if (!list.is_array()) return warnings;
  for (const Json& warning : list) {
    if (warning.is_string()) warnings.push_back(warning.get<std::string>());
  }
  return warnings;
}

std::string note_on(const Json& entry, const std::vector<std::string>& warnings) {
  if (value_at(entry, "ok") == true) {
    return "User structure ingested deterministically: " + named_in_notes(entry) + ".";
  }
  std::string joined;
  for (const std::string& warning : warnings) joined += (joined.empty() ? "" : "; ") + warning;
  return "Structure file could not be parsed: " + names_of(entry).file_name + " (" + joined + ")";
}

}  // namespace

std::string source_key(std::string source_text) {
  std::replace(source_text.begin(), source_text.end(), '\\', '/');
  return case_folded(source_text);
}

std::map<std::string, KnownEntry> known_sources(const StateHost& state) {
  std::map<std::string, KnownEntry> known;
  for_each_element(value_of(state, "structure_sources"), [&known](const Json& entry) {
    if (!entry.is_object()) return;
    const std::string text = source_text_of(entry);
    if (stripped(text).empty()) return;
    known.emplace(source_key(text), KnownEntry{.source = text,
                                               .sha256 = text_or_empty(value_at(entry, "sha256")),
                                               .path = text_or_empty(value_at(entry, "path")),
                                               .ok = value_at(entry, "ok") == true});
  });
  return known;
}

bool has_changed(const KnownEntry& known, const IngestedStructure& record) {
  if (record.sha256.empty()) return false;  // it cannot be read now
  if (!known.sha256.empty() && known.sha256 != record.sha256) return true;
  if (known.ok != record.ok) return record.ok;
  return record.ok && !record.canonical_xyz_rel.empty() &&
         known.path.starts_with(INGESTED_DIRNAME) &&
         digest_in_name(known.path) != digest_in_name(record.canonical_xyz_rel);
}

std::vector<std::string> new_notes(const std::vector<std::string>& known,
                                   const std::vector<std::string>& proposed) {
  std::set<std::string> all(known.begin(), known.end());
  std::vector<std::string> notes;
  for (const std::string& note : proposed) {
    if (all.insert(note).second) notes.push_back(note);
  }
  return notes;
}

std::vector<std::string> notes_on(const Json& entry) {
  const std::vector<std::string> warnings = warnings_of(entry);
  std::vector<std::string> notes = {note_on(entry, warnings)};
  for (const std::string& warning : warnings) {
    if (warning.find("No cell/lattice information") != std::string::npos) notes.push_back(warning);
  }
  return notes;
}

void append_findings_of(const SourceEntry& entry, std::vector<std::string>& notes) {
  if (!entry.findings) return;
  for (const Finding& finding : *entry.findings) {
    if (finding.severity == Severity::note) continue;
    notes.push_back("Finding on '" + file_name(entry.source_file()) + "' (" +
                    severity_name(finding.severity) + ", " + finding.code +
                    "): " + utf8_text(finding.message));
  }
}

}  // namespace structure_ingest::internal
