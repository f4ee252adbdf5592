// A hydration of a state behind a door.
#pragma once

#include "structure_ingest/discovery/hydrate.hpp"
#include "structure_ingest/discovery/state_door.hpp"

namespace structure_ingest::internal {

/// As `hydrate`, with a state that any host holds. Throws nothing but an Interruption. With
/// `dry_run` or `refresh` the door must lead to a copy, which takes the place of the state when a
/// refresh ends without an error: a failure half-way must not cost old entries.
HydrateOutcome hydrate_through(const StateDoor& door, const HydrateOptions& options);

}  // namespace structure_ingest::internal
