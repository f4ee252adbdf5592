// A state that is a JSON value, as a hydration reaches it.
#pragma once

#include <vector>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/discovery/state_door.hpp"

namespace structure_ingest::internal {

/// `state`, `entries` (where the entries stand on their way) and `collaborators` must outlive it.
StateDoor door_to(Json& state, std::vector<Json>& entries, const Collaborators& collaborators);

}  // namespace structure_ingest::internal
