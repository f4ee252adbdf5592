// Removing the copies in a project that nothing needs any more.
#pragma once

#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/upkeep/forget.hpp"

namespace structure_ingest {

struct PrunedCopy {
  std::string copy;  ///< relative to the project
  CopyFate fate = CopyFate::absent;
  std::string problem{};  ///< why it could not be removed; empty when it was, or was kept
};

/// Removes the canonical copies that no entry of the state names; one that is not byte for byte
/// what was written is kept, and no other file is touched. A dry run only tells what would be
/// removed. Nobody else may take structures in meanwhile: hold the lock of the state. Throws
/// std::invalid_argument for a state that is no mapping: nothing tells what it needs.
STRUCTURE_INGEST_API std::vector<PrunedCopy> prune_copies(const std::string& project,
                                                          const Json& state, bool dry_run = false);

}  // namespace structure_ingest
