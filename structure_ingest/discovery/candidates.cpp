#include "structure_ingest/discovery/candidates.hpp"

#include <cxxabi.h>

#include <algorithm>
#include <exception>
#include <set>
#include <string_view>
#include <utility>

#include "structure_ingest/base/json_memory.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/text.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::string_view OUTPUT_FOLDER_NAME = "strataquill_outputs";

std::string folder_text(const Json& value) {
  return is_empty(value) ? "." : text_of(value);
}

std::string expanded_and_resolved(const std::string& path) {
  return resolve_path(expand_home(path));
}

std::size_t rank(std::string_view kind) {
  return static_cast<std::size_t>(std::find(DISCOVERY_ORDER.begin(), DISCOVERY_ORDER.end(), kind) -
                                  DISCOVERY_ORDER.begin());
}

/// Adds a candidate; each file keeps the strongest kind under which it was ever offered.
void offer(Candidates& candidates, std::string_view raw, std::string_view how) {
  const std::string text(stripped(raw));
  if (text.empty()) return;
  candidates.paths.push_back(text);
  std::string key;
  try {
    key = source_identity(expand_home(text));
  } catch (const std::exception&) {
    return;  // still a candidate, but of no kind
  }
  const auto [known, is_new] = candidates.discovery.try_emplace(key, how);
  if (!is_new && rank(how) < rank(known->second)) known->second = how;
}

bool is_sweep_allowed(const std::string& project_path, const Collaborators& collaborators) {
  try {
    return collaborators.trust_state_for(project_path).state != "untrusted";
  } catch (const abi::__forced_unwind&) {
    throw;  // the end of the thread is no error
  } catch (...) {
    return true;  // only a plain "untrusted" keeps the workspace out
  }
}

void offer_attachments(Candidates& candidates, const Json& state) {
  for_each_element(value_at(state, "attachments"), [&](const Json& attachment) {
    offer(candidates, text_or_empty(value_at(attachment, "path")), DISCOVERY_ATTACHMENT);
  });
}

void offer_attached_workspace(Candidates& candidates, const Json& state, bool sweep_allowed) {
  const Json& workspace = value_at(state, "attached_workspace");
  const Json& inventory = value_at(workspace, "inventory");
  const Json& root = value_at(workspace, "project_path");
  const std::string workspace_root =
      expanded_and_resolved(is_empty(root) ? candidates.project_path : text_of(root));
  if (!sweep_allowed) return;
  for_each_element(value_at(inventory, "structure_files"), [&](const Json& file) {
    offer(candidates, join_path(workspace_root, text_of(file)), DISCOVERY_WORKSPACE_SCAN);
  });
}

/// The existing folders to scan: those that the state names, and the one that holds the folder of
/// the agent's outputs when the project lives there, which the state then learns.
std::vector<std::string> find_scan_roots(const std::string& project_path, Json& state) {
  std::vector<std::string> roots;
  const auto add = [&roots](const std::string& root) {
    if (!is_directory(root) || std::find(roots.begin(), roots.end(), root) != roots.end())
      return false;
    roots.push_back(root);
    return true;
  };
  for (const Json* const value :
       {&value_at(value_at(state, "project_resolution"), "requested_path"),
        &value_at(state, "selected_workroot"), &value_at(state, "source_workspace_root")}) {
    if (is_empty(*value)) continue;
    try {
      add(expanded_and_resolved(text_of(*value)));
    } catch (const std::exception&) {
      // A root that cannot be resolved is no root.
    }
  }
  const std::string outputs = parent_folder(project_path);
  if (ascii_lower_cased(file_name(outputs)) == OUTPUT_FOLDER_NAME) {
    const std::string managed_source_root = parent_folder(outputs);
    if (add(managed_source_root) && !state.contains("source_workspace_root")) {
      make_room(state, 1);
      state["source_workspace_root"] = utf8_text(managed_source_root);
    }
  }
  return roots;
}

void offer_scanned(Candidates& candidates, const std::vector<std::string>& roots,
                   const Collaborators& collaborators) {
  for (const std::string& root : roots) {
    const WorkspaceInventory inventory = collaborators.inventory_workspace(root);
    const std::string_view how = is_within(candidates.project_path, root)
                                     ? DISCOVERY_PROJECT_FOLDER
                                     : DISCOVERY_WORKSPACE_SCAN;
    for (const std::string& file : inventory.structure_files) {
      offer(candidates, join_path(root, file), how);
    }
  }
}

/// Drops repeats of the same text, and names of no structure file.
void keep_structure_files(std::vector<std::string>& paths) {
  std::set<std::string> seen;
  std::erase_if(paths, [&seen](const std::string& path) {
    return !seen.insert(path).second || !is_structure_file(path);
  });
}

}  // namespace

Candidates discover_candidates(Json& state, const std::vector<std::string>& extra_paths,
                               const Collaborators& collaborators) {
  Candidates candidates;
  candidates.project_path = resolve_path(folder_text(value_at(state, "project_path")));
  const bool sweep_allowed = is_sweep_allowed(candidates.project_path, collaborators);
  for (const std::string& path : extra_paths) offer(candidates, path, DISCOVERY_ATTACHMENT);
  offer_attachments(candidates, state);
  offer_attached_workspace(candidates, state, sweep_allowed);
  const std::vector<std::string> roots = find_scan_roots(candidates.project_path, state);
  if (sweep_allowed) offer_scanned(candidates, roots, collaborators);
  keep_structure_files(candidates.paths);
  return candidates;
}

}  // namespace structure_ingest::internal
