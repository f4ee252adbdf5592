// The Python interpreters that the worker may run in.
#pragma once

#include <string>
#include <vector>

namespace structure_ingest::internal {

/// The interpreters that may be able to import ASE: the first `python3` in PATH, then the one that
/// was configured when the library was built. Folders in PATH that are not absolute are left out:
/// what they name depends on the current folder.
std::vector<std::string> ase_interpreters();

}  // namespace structure_ingest::internal
