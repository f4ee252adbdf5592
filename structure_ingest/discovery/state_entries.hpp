// The entries of a state and the notes on them: which sources it knows, which notes a batch adds,
// and how entries are taken out again.
#pragma once

#include <cstddef>
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
  bool was_missing = false;  // the file did not exist: the entry holds nothing of it
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

/// Whether a note is to be taken out, since it begins so.
bool is_undone(const StateChange& change, const std::string& note);

/// The notes on an entry that was taken in.
std::vector<std::string> notes_on(const Json& entry);

/// Appends a note for each of its findings that is an error or a warning.
void append_findings_of(const SourceEntry& entry, std::vector<std::string>& notes);

/// The text of an entry's source file; empty when it names none.
std::string source_text_of(const Json& entry);

/// "Si2 (2 atoms) -> project_root/structures/ingested_si_0a1b2c3d.xyz", as notes name a structure.
std::string named_in_notes(const Json& entry);

/// The note that the structure of `entry` took the place of that of `old`, both of one source.
std::string note_on_replacement(const Json& entry, const Json& old);

/// Takes the entries at `places` (ascending, among the elements) out of "structure_sources", and
/// out of "structure_notes" the notes on them that are not on an entry that is left as well.
/// Returns these notes, each once. Throws std::invalid_argument when either is no list.
std::vector<std::string> take_out(Json& state, const std::vector<std::size_t>& places);

}  // namespace structure_ingest::internal
