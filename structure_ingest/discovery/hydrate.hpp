// The main entry point: the structures that a user supplied enter the agent state.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "collaborators/collaborators.hpp"
#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json.hpp"

namespace structure_ingest {

/// What a hydration may be given besides the state.
struct HydrateOptions {
  /// Structure files that the caller names; they count as attached. A relative one lies under the
  /// project folder.
  std::vector<std::string> extra_paths{};
  /// The agent's other modules.
  Collaborators collaborators = agent_modules();
  /// Told of each file before it is read, as in `IngestOptions`; may be empty.
  std::function<void(std::size_t done, std::size_t total, const std::string& path)> progress{};
};

/// Finds the structure files that the state and the caller name, ingests the first eight into the
/// state's project, drops those unrelated to the request, and puts the new ones at the head of
/// state["structure_sources"], with notes in state["structure_notes"].
///
/// Returns the new entries: a view of the head of state["structure_sources"], valid until that list
/// changes or the state gets a new key; empty when there are none. `state` is a mapping that the
/// caller owns; it must not be used by two calls at once. Throws nothing: an error that no step
/// expects is reported through `record_suppressed_error`, and the result is empty.
STRUCTURE_INGEST_API std::span<Json> hydrate_user_structures(Json& state,
                                                             const HydrateOptions& options = {});

}  // namespace structure_ingest
