// The worker that runs ASE. Its script is compiled into the library, so that it needs no file at
// run time and always has the library's version.
#pragma once

namespace structure_ingest::internal {

/// The texts of ase_deferral.py and ase_worker.py. The head of the latter describes the worker and
/// its protocol.
extern const char* const ASE_WORKER_SCRIPT;

}  // namespace structure_ingest::internal
