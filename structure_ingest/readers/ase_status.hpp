// Whether ASE can be used here, and which.
#pragma once

#include <string>

#include "structure_ingest/base/api.hpp"

namespace structure_ingest {

struct AseStatus {
  std::string interpreter{};  ///< the Python that has it; empty for none
  std::string folder{};       ///< of the package
  std::string version{};      ///< as the package says it; empty when it says none
  std::string problem{};      ///< why it cannot be used; empty when it can
};

/// Starts a process that runs ASE as a parser would, which takes about half a second.
STRUCTURE_INGEST_API AseStatus ase_status();

}  // namespace structure_ingest
