// The worker that runs ASE. Its script is compiled into the library, so that there is no file to
// find at run time and library and worker always have the same version.
#pragma once

namespace structure_ingest::internal {

/// The text of ase_worker.py, whose head describes what it does and its protocol.
extern const char* const ASE_WORKER_SCRIPT;

}  // namespace structure_ingest::internal
