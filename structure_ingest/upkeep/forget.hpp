// Taking structures out of a project again.
#pragma once

#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/upkeep/project_structure.hpp"

namespace structure_ingest {

/// A name that does not tell one structure: it fits none, or several.
struct UnclearName {
  std::string name;
  std::vector<ProjectStructure> fits;
};

struct ForgetOutcome {
  std::vector<ProjectStructure> forgotten;  ///< none when a name is unclear
  std::vector<std::string> notes;           ///< the notes that went with them
  std::vector<std::string> copies;          ///< the copies that no entry of the state has any more
  std::vector<std::string> sources;         ///< the sources that no entry of the state has any more
  std::vector<UnclearName> unclear;         ///< the names that are
};

struct ForgetOptions {
  /// The folder of a source that is named by a relative path; empty for none.
  std::string folder{};
  bool dry_run = false;  ///< whether the state stays as it is, whatever the outcome says
};

/// Takes the structures of these names out of "structure_sources", and the notes on them out of
/// "structure_notes"; when one name is unclear, nothing at all. A structure is named by the path of
/// its source or of its copy, or by the file name of either. Its copy stays: `delete_copy` removes
/// it. A source that was forgotten can be taken in again.
/// Throws std::invalid_argument for a state whose sources or notes are no list.
STRUCTURE_INGEST_API ForgetOutcome forget_structures(Json& state,
                                                     const std::vector<std::string>& names,
                                                     const ForgetOptions& options = {});

enum class CopyFate {
  deleted,
  absent,   ///< there was none
  changed,  ///< kept: it is not, byte for byte, what was written under its name
};

/// Removes a canonical copy, given by its path relative to the project, unless somebody changed it;
/// a dry run only tells what would become of it. No link in the project is followed, and any path
/// that is not that of a copy is refused: std::system_error, as when the copy cannot be read or
/// removed.
STRUCTURE_INGEST_API CopyFate delete_copy(const std::string& project, const std::string& copy,
                                          bool dry_run = false);

}  // namespace structure_ingest
