// What a batch changes in a state: which of its entries are new there, and which notes are added.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/discovery/state_host.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

/// What the newest entry of a source says.
struct KnownEntry {
  std::string source;  // its text
  std::string sha256;  // the fingerprint; empty when it has none
  std::string path;    // of its canonical copy, or its source
  bool ok = false;
};

/// The sources that a state has: their keys, equal for one source in any letter case and with
/// either slashes, and the newest entry of each. Throws std::invalid_argument for sources of which
/// none can be told.
std::map<std::string, KnownEntry> known_sources(const StateHost& state);

/// The key of a source by its text.
std::string source_key(std::string source_text);

/// Whether a file that was read again is another than when it was taken in: its bytes, the
/// structure that they give (the cell may come from another file), or that they give one at all.
bool has_changed(const KnownEntry& known, const IngestedStructure& record);

/// The notes of `proposed` that are not among `known`, each once.
std::vector<std::string> new_notes(const std::vector<std::string>& known,
                                   const std::vector<std::string>& proposed);

/// The notes on an entry that was taken in.
std::vector<std::string> notes_on(const Json& entry);

/// Appends a note for each of its findings that is an error or a warning.
void append_findings_of(const SourceEntry& entry, std::vector<std::string>& notes);

}  // namespace structure_ingest::internal
