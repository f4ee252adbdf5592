// Gathering the candidate structure files of a call, each with how it was found.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/discovery/state_host.hpp"
#include "structure_ingest/ingest/entries.hpp"

namespace structure_ingest::internal {

/// The candidates that have been offered so far.
struct CandidateList {
  std::vector<Candidate> candidates;         // in the order of the offers, repeats included
  std::map<std::string, std::string> kinds;  // source identity to the strongest kind
};

/// Whether the workspace may be searched: a project folder that is plainly untrusted keeps it out.
bool is_sweep_allowed(const std::string& project, const Collaborators& collaborators);

/// Offers the extra paths, the state's attachments and, if `sweep_allowed`, the inventory of its
/// attached workspace. `project` is resolved. Throws for paths that cannot be resolved and for
/// lists that are none.
CandidateList offer_named(const StateHost& state, const std::vector<std::string>& extra_paths,
                          const std::string& project, bool sweep_allowed, PathResolver& resolver);

struct ScanRoots {
  std::vector<std::string> folders;  // existing and resolved, without repeats
  /// The folder that holds the folder of the agent's outputs in which the project lies, where it is
  /// among the roots for that reason alone and the state does not know it yet.
  std::optional<std::string> learned{};
};

/// The folders to scan: those that the state names, and the one above the agent's outputs.
ScanRoots find_scan_roots(const StateHost& state, const std::string& project);

/// Offers what the workspace inventory lists for each folder. Throws what the inventory throws.
void offer_scanned(CandidateList& list, const std::vector<std::string>& folders,
                   const std::string& project, const Collaborators& collaborators,
                   PathResolver& resolver);

/// Takes repeats of the same text, and names of no structure file, out of the candidates for
/// `project`, and returns them.
std::vector<SkippedFile> skip_other_files(std::vector<Candidate>& candidates,
                                          const std::string& project);

}  // namespace structure_ingest::internal
