// A candidate that was passed over without being read, and why.
#pragma once

#include <string>

namespace structure_ingest {

/// Why a candidate was not read.
enum class SkipReason {
  not_a_structure_file,  ///< by its name
  same_file,             ///< as an earlier candidate
  canonical_copy,        ///< the copy that a project holds of a structure
  other_project,         ///< it lies in another project and is not attached
  past_limit,            ///< there were more candidates than the call considers
  not_allowed,           ///< the caller does not let it be read
  stopped,               ///< the caller ended the batch before
};

/// A candidate that was passed over.
struct SkippedFile {
  std::string path;  ///< absolute, unless it cannot be made so
  SkipReason reason = SkipReason::not_a_structure_file;
  /// How a hydration came upon it, a discovery kind; empty in a batch.
  std::string discovery{};
  /// The path of the earlier candidate, or the folder of the other project.
  std::string other{};
};

}  // namespace structure_ingest
