// The relevance filter: drops structures that have plainly nothing to do with the request.
#pragma once

#include <string>
#include <vector>

#include "collaborators/collaborators.hpp"
#include "structure_ingest/base/json.hpp"

namespace structure_ingest::internal {

struct FilteredEntries {
  std::vector<Json> kept;          // in the order of the input
  std::vector<std::string> notes;  // one for each dropped entry, in the same order
};

/// Drops the entries that the relevance assessor judges unrelated to the state's request with a
/// confidence of at least 0.8. Without a request, entries or an assessor, and when the assessment
/// fails, all are kept.
FilteredEntries drop_unrelated_structures(std::vector<Json> entries, const Json& state,
                                          const Collaborators& collaborators);

}  // namespace structure_ingest::internal
