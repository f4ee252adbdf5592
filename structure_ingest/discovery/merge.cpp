#include "structure_ingest/discovery/merge.hpp"

#include <algorithm>
#include <set>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/text.hpp"

namespace structure_ingest::internal {
namespace {

std::string key_of(std::string source_text) {
  std::replace(source_text.begin(), source_text.end(), '\\', '/');
  return case_folded(source_text);
}

std::string note_on(const SourceEntry& entry) {
  const IngestedStructure& record = entry.record;
  if (record.ok) {
    return "User structure ingested deterministically: " + utf8_text(record.formula) + " (" +
           std::to_string(record.natoms) + " atoms) -> " + entry.path() + ".";
  }
  const std::string source = entry.source_file();
  std::string warnings;
  for (const std::string& warning : record.warnings) {
    if (!warnings.empty()) warnings += "; ";
    warnings += utf8_text(warning);
  }
  return "Structure file could not be parsed: " +
         file_name(source.empty() ? entry.path() : source) + " (" + warnings + ")";
}

}  // namespace

std::map<std::string, std::string> known_sources(const Json& state) {
  std::map<std::string, std::string> known;
  for_each_element(value_at(state, "structure_sources"), [&known](const Json& entry) {
    if (!entry.is_object()) return;
    const Json& source_file = member_of(value_at(entry, "metadata"), "source_file");
    std::string text =
        text_or_empty(is_empty(source_file) ? value_at(entry, "source_path") : source_file);
    if (stripped(text).empty()) return;
    known.emplace(key_of(std::move(text)), text_or_empty(value_at(entry, "sha256")));
  });
  return known;
}

std::string source_key(const SourceEntry& entry) {
  return key_of(entry.source_file());
}

std::vector<std::string> new_notes(const Json& state, const std::vector<std::string>& proposed) {
  std::set<std::string> known;
  for_each_element(value_at(state, "structure_notes"), [&known](const Json& note) {
    if (note.is_string()) known.insert(note.get<std::string>());
  });
  std::vector<std::string> notes;
  for (const std::string& note : proposed) {
    if (known.insert(note).second) notes.push_back(note);
  }
  return notes;
}

void append_notes_on(const SourceEntry& entry, std::vector<std::string>& notes) {
  notes.push_back(note_on(entry));
  for (const std::string& warning : entry.record.warnings) {
    if (warning.find("No cell/lattice information") != std::string::npos) {
      notes.push_back(utf8_text(warning));
    }
  }
}

void append_findings_of(const SourceEntry& entry, std::vector<std::string>& notes) {
  for (const Finding& finding : entry.findings) {
    if (finding.severity == Severity::note) continue;
    notes.push_back("Finding on '" + file_name(entry.source_file()) + "' (" +
                    severity_name(finding.severity) + ", " + finding.code +
                    "): " + utf8_text(finding.message));
  }
}

}  // namespace structure_ingest::internal
