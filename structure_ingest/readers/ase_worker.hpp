// The worker that runs ASE. Its script is compiled into the library, so that it needs no file at
// run time and always has the library's version.
#pragma once

namespace structure_ingest::internal {

/// The text of ase_worker.py. Its head describes the worker and its protocol.
extern const char* const ASE_WORKER_SCRIPT;

}  // namespace structure_ingest::internal
