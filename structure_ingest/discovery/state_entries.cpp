#include "structure_ingest/discovery/state_entries.hpp"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/discovery/relevance_filter.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/readers/read_structure.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::string_view REPLACED = "User structure replaced: ";
constexpr std::string_view IN_PLACE_OF = " in place of ";
constexpr std::string_view FINDING = "Finding on '";
constexpr std::string_view FINDING_END = "' (";

std::string note_on(const Json& entry, const std::vector<std::string>& warnings) {
  if (value_at(entry, "ok") == true) {
    return "User structure ingested deterministically: " + named_in_notes(entry) + ".";
  }
  std::string joined;
  for (const std::string& warning : warnings) joined += (joined.empty() ? "" : "; ") + warning;
  return "Structure file could not be parsed: " + names_of(entry).file_name + " (" + joined + ")";
}

/// The notes on some entries.
class NotesOn {
 public:
  explicit NotesOn(const std::vector<const Json*>& entries) {
    for (const Json* const entry : entries) {
      for (std::string& note : notes_on(*entry)) notes_.insert(std::move(note));
      replacements_.insert(std::string(REPLACED) + named_in_notes(*entry));
      findings_.insert(
          std::string(FINDING).append(file_name(source_text_of(*entry))).append(FINDING_END));
    }
  }

  bool contains(const std::string& note) const {
    if (note.starts_with(FINDING)) return contains_finding(note);
    if (!note.starts_with(REPLACED)) return notes_.contains(note);
    return replacements_.contains(note.substr(0, note.find(IN_PLACE_OF)));
  }

 private:
  /// The name of the file may hold anything, also the text that follows it in a note: try each
  /// place where it may end.
  bool contains_finding(const std::string& note) const {
    for (std::size_t end = 0; (end = note.find(FINDING_END, end)) != std::string::npos;) {
      end += FINDING_END.size();
      if (findings_.contains(note.substr(0, end))) return true;
    }
    return false;
  }

  std::set<std::string> notes_;
  std::set<std::string> findings_;      // the beginnings of the notes on what a check found
  std::set<std::string> replacements_;  // the beginnings of the notes on them
};

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
    KnownEntry found{.source = text,
                     .sha256 = text_or_empty(value_at(entry, "sha256")),
                     .path = text_or_empty(value_at(entry, "path")),
                     .ok = value_at(entry, "ok") == true};
    found.was_missing = !found.ok && found.sha256.empty() &&
                        strings_at(entry, "warnings") == std::vector<std::string>{NO_SUCH_FILE};
    known.emplace(source_key(text), std::move(found));
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

bool is_undone(const StateChange& change, const std::string& note) {
  return std::any_of(change.undone.begin(), change.undone.end(),
                     [&note](const std::string& beginning) { return note.starts_with(beginning); });
}

std::vector<std::string> notes_on(const Json& entry) {
  const std::vector<std::string> warnings = strings_at(entry, "warnings");
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
    notes.push_back(std::string(FINDING) + file_name(entry.source_file()) +
                    std::string(FINDING_END) + severity_name(finding.severity) + ", " +
                    finding.code + "): " + utf8_text(finding.message));
  }
}

std::string source_text_of(const Json& entry) {
  const Json& source_file = member_of(value_at(entry, "metadata"), "source_file");
  return text_or_empty(is_empty(source_file) ? value_at(entry, "source_path") : source_file);
}

std::string named_in_notes(const Json& entry) {
  const Json& natoms = value_at(entry, "natoms");
  return text_or_empty(value_at(entry, "formula")) + " (" +
         (natoms.is_number_integer() || natoms.is_string() ? text_of(natoms) : "0") +
         " atoms) -> " + text_or_empty(value_at(entry, "path"));
}

std::string note_on_replacement(const Json& entry, const Json& old) {
  return std::string(REPLACED)
      .append(named_in_notes(entry))
      .append(IN_PLACE_OF)
      .append(named_in_notes(old))
      .append(", since its source file has changed.");
}

std::vector<std::string> take_out(Json& state, const std::vector<std::size_t>& places) {
  Json::array_t left;
  Json::array_t taken;
  std::size_t place = 0;
  for_each_element(value_at(state, "structure_sources"), [&](const Json& entry) {
    const bool is_taken = std::binary_search(places.begin(), places.end(), place++);
    (is_taken ? taken : left).push_back(entry);
  });
  const auto mappings = [](const Json::array_t& entries) {
    std::vector<const Json*> found;
    for (const Json& entry : entries) {
      if (entry.is_object()) found.push_back(&entry);
    }
    return found;
  };
  const NotesOn on_taken(mappings(taken));
  const NotesOn on_left(mappings(left));
  Json::array_t notes;
  std::vector<std::string> gone;
  for_each_element(value_at(state, "structure_notes"), [&](const Json& note) {
    const std::string text = note.is_string() ? note.get<std::string>() : "";
    if (text.empty() || !on_taken.contains(text) || on_left.contains(text)) {
      notes.push_back(note);
    } else if (std::find(gone.begin(), gone.end(), text) == gone.end()) {
      gone.push_back(text);
    }
  });
  if (!taken.empty()) state["structure_sources"] = Json(std::move(left));
  if (!gone.empty()) state["structure_notes"] = Json(std::move(notes));
  return gone;
}

}  // namespace structure_ingest::internal
