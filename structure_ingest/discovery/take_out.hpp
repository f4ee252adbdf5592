// Taking entries out of a state again, with the notes on them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "structure_ingest/base/json_fwd.hpp"

namespace structure_ingest::internal {

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
