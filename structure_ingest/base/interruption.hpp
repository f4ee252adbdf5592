// What a host throws to end a call at once.
#pragma once

namespace structure_ingest::internal {

/// Thrown by a host's function (one of the agent's modules, a state door) when the user interrupts
/// the call or the process is to exit. It passes through every handler: one that absorbs failures
/// of any kind must let it through.
struct Interruption {};

}  // namespace structure_ingest::internal
