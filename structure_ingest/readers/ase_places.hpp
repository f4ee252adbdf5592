// Where the worker that runs ASE is to be found: its script, and the interpreters to try.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace structure_ingest::internal {

/// The interpreters that may be able to import ASE: the first `python3` in PATH, then the one that
/// was configured when the library was built. Folders in PATH that are not absolute are left out:
/// what they name depends on the current folder.
std::vector<std::string> ase_interpreters();

/// The worker's script, the first of these that exists:
///  1. in the data folder of the prefix that the program or the shared library that holds this code
///     is installed under: <prefix>/share/structure_ingest beside <prefix>/bin or <prefix>/lib;
///  2. in the data folder that was configured when the library was built;
///  3. in the source tree that the library was built from.
std::optional<std::string> ase_worker_script();

}  // namespace structure_ingest::internal
