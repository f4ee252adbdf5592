// What a project holds.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/ingest/batch.hpp"
#include "structure_ingest/upkeep/project_structure.hpp"

namespace structure_ingest {

struct ProjectListing {
  std::vector<ProjectStructure> structures;  ///< newest first, as the state has them
  /// Copies in the project that none of the structures has, relative to the project.
  std::vector<std::string> other_copies{};
  std::string manifest_error{};  ///< why the manifest, which was due, could not be used
};

struct ListOptions {
  /// Whether the structures are checked, all but their symmetry. The source is looked into as well
  /// where it is what it was; of the others only the atoms are checked.
  bool check = false;
  /// Of how many structures, from which one on, since checking takes longer than listing.
  std::size_t check_from = 0;
  std::size_t check_count = std::numeric_limits<std::size_t>::max();  ///< of them
  /// Whether `record_digest` is found out.
  bool record_digests = false;
  /// Told of each structure before it is checked, as of files in `IngestOptions`; may be empty.
  Progress progress{};
  /// A source that may not be read is not looked into.
  MayRead may_read{};
};

/// The structures of a project by its `state`. Where that is no mapping, those of the manifest, and
/// then those of which there is only a copy. Nothing is written. The project's folder may be given
/// in any form. Throws std::invalid_argument for a state whose sources are no list.
STRUCTURE_INGEST_API ProjectListing list_structures(const std::string& project,
                                                    const Json& state = nullptr,
                                                    const ListOptions& options = {});

}  // namespace structure_ingest
