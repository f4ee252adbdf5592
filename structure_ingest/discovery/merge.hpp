// What a batch changes in a state: which of its entries are new there, and which notes are added.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/ingest/source_entry.hpp"

namespace structure_ingest::internal {

/// The sources that a state has: their keys, equal for one source in any letter case and with
/// either slashes, and the fingerprints of the newest entry of each. Throws std::invalid_argument
/// for sources of which none can be told.
std::map<std::string, std::string> known_sources(const Json& state);

/// The key of an entry's source.
std::string source_key(const SourceEntry& entry);

/// The notes that `proposed` adds to those of the state: each once, and none that is there.
/// Throws std::invalid_argument when the state's notes are no list.
std::vector<std::string> new_notes(const Json& state, const std::vector<std::string>& proposed);

/// Appends the notes on an entry that was taken in.
void append_notes_on(const SourceEntry& entry, std::vector<std::string>& notes);

/// Appends a note for each of its findings that is an error or a warning.
void append_findings_of(const SourceEntry& entry, std::vector<std::string>& notes);

}  // namespace structure_ingest::internal
