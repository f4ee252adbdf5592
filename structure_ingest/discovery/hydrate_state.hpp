// Hydrations of a state that any host holds, and the host of a JSON value.
#pragma once

#include <vector>

#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/discovery/hydrate.hpp"
#include "structure_ingest/discovery/state_host.hpp"

namespace structure_ingest::internal {

/// As `hydrate`, with a state that any host holds. Throws nothing but an Interruption.
HydrateOutcome hydrate_state(const StateHost& host, const HydrateOptions& options);

/// The host of a JSON value. `entries` is where the batch stands; with `dry_run` no manifest is
/// written. Everything must outlive the host.
StateHost json_host(Json& state, std::vector<Json>& entries, const Collaborators& collaborators,
                    bool dry_run);

}  // namespace structure_ingest::internal
