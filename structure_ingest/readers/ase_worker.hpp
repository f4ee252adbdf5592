// The worker that runs ASE. Its script is part of the library's code, so that nothing need be found
// beside the program that the library ends up in, and no library meets a worker of another version.
#pragma once

namespace structure_ingest::internal {

/// The text of ase_worker.py, which says what it does and speaks.
extern const char* const ASE_WORKER_SCRIPT;

}  // namespace structure_ingest::internal
