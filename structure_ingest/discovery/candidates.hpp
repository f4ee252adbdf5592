// Gathering the candidate structure files of a call, each with how it was found.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "collaborators/collaborators.hpp"
#include "structure_ingest/base/json.hpp"

namespace structure_ingest::internal {

struct Candidates {
  std::string project_path;                      // resolved
  std::vector<std::string> paths;                // names of structure files, without repeats
  std::map<std::string, std::string> discovery;  // source identity to the strongest kind
};

/// Gathers candidates in a fixed order: the extra paths and the state's attachments, the inventory
/// of the attached workspace, then what the workspace inventory lists for each scan root. In an
/// untrusted project folder only the first two count. May set the state's
/// "source_workspace_root", when it has none; reads no file.
/// Throws what the workspace inventory throws, and for paths that cannot be resolved.
Candidates discover_candidates(Json& state, const std::vector<std::string>& extra_paths,
                               const Collaborators& collaborators);

}  // namespace structure_ingest::internal
