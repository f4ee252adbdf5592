// The relevance filter: drops structures that have plainly nothing to do with the request.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/discovery/state_host.hpp"

namespace structure_ingest::internal {

/// What the user asked for in a state: trimmed, and empty for no request.
std::string request_in(const StateHost& state);

/// What the filter reads of a source entry.
struct EntryNames {
  std::string file_name;  // of the source file
  std::string path;       // of the canonical copy, or of the source
  std::string formula;
  std::string source_file{};
};

/// Throws std::invalid_argument for an entry whose "metadata" is neither empty nor a mapping.
EntryNames names_of(const Json& entry);

struct RelevanceResult {
  std::vector<std::size_t> kept;  // places in the batch, in their order
  std::vector<DroppedStructure> dropped;
  std::vector<DroppedStructure> undone;  // kept all the same
  RelevanceReport report;                // what the assessor said, if it was asked
};

/// Drops those of the entries at `places` that the host's assessor judges unrelated to the request
/// with a confidence of at least 0.8. Without a request or entries the assessor is not asked; then,
/// and when it fails, all are kept. Those of the source files `wanted` are kept in any case.
RelevanceResult drop_unrelated(const StateHost& host, const std::vector<std::size_t>& places,
                               const std::string& role_unrelated,
                               const std::set<std::string>& wanted = {});

/// Why a structure was dropped, in words.
std::string reason_of(const DroppedStructure& dropped);

/// How the note on a dropped structure begins: "Ignored 'a.xyz' (H2O): ".
std::string beginning_of_note(const std::string& name, const std::string& formula);

/// The note on a dropped structure.
std::string note_on(const DroppedStructure& dropped);

}  // namespace structure_ingest::internal
