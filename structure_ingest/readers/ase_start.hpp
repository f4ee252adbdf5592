// Starting the worker that runs ASE with the first interpreter that can.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "structure_ingest/base/child_process.hpp"

namespace structure_ingest::internal {

/// A worker that has loaded ASE, of the first interpreter in order that can; null when none can
/// before the deadline. The first is alone for a moment, which is enough for it to say that it has
/// ASE; one that has not (a wrapper script may take long to find out) is not waited for before the
/// next is started beside it.
std::unique_ptr<ChildProcess> start_ase_worker(const std::vector<std::string>& interpreters,
                                               const std::string& script, Deadline deadline);

}  // namespace structure_ingest::internal
