#include "structure_ingest/discovery/candidates.hpp"

#include <algorithm>
#include <exception>
#include <set>
#include <string_view>
#include <utility>

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace structure_ingest::internal {
namespace {

constexpr std::string_view OUTPUT_FOLDER_NAME = "strataquill_outputs";

std::size_t rank(std::string_view kind) {
  return static_cast<std::size_t>(std::find(DISCOVERY_ORDER.begin(), DISCOVERY_ORDER.end(), kind) -
                                  DISCOVERY_ORDER.begin());
}

/// Adds a candidate; each file keeps the strongest kind under which it was ever offered.
void offer(CandidateList& list, std::string_view raw, std::string_view how,
           PathResolver& resolver) {
  const std::string text(stripped(raw));
  if (text.empty()) return;
  Candidate& candidate = list.candidates.emplace_back(
      Candidate{.text = text, .source = std::nullopt, .how = std::string(how)});
  SourceFile source;
  try {
    source = source_file(expand_home(text), resolver);
  } catch (const std::exception&) {
    return;  // a path that cannot be resolved is still a candidate, but of no kind
  }
  const auto [known, is_new] = list.kinds.try_emplace(source.identity, how);
  if (!is_new && rank(how) < rank(known->second)) known->second = how;
  // Here a relative path lies in the current folder; a batch looks for it in the project.
  if (is_absolute(source.path)) candidate.source = std::move(source);
}

}  // namespace

bool is_sweep_allowed(const std::string& project, const Collaborators& collaborators) {
  try {
    return collaborators.trust_state_for(project).state != "untrusted";
  } catch (const Interruption&) {
    throw;
  } catch (...) {
    return true;  // only a plain "untrusted" keeps the workspace out
  }
}

CandidateList offer_named(const StateHost& state, const std::vector<std::string>& extra_paths,
                          const std::string& project, bool sweep_allowed, PathResolver& resolver) {
  CandidateList list;
  for (const std::string& path : extra_paths) {
    offer(list, path, DISCOVERY_ATTACHMENT, resolver);
  }
  for_each_element(value_of(state, "attachments"), [&](const Json& attachment) {
    const std::string path = text_or_empty(value_at(attachment, "path"));
    offer(list, path, DISCOVERY_ATTACHMENT, resolver);
  });
  const Json& root = value_of(state, "attached_workspace.project_path");
  const std::string workspace_root =
      is_empty(root) ? project : expanded_and_resolved(text_of(root));
  if (!sweep_allowed) return list;
  for_each_element(value_of(state, "attached_workspace.inventory.structure_files"),
                   [&](const Json& file) {
                     const std::string path = join_path(workspace_root, text_of(file));
                     offer(list, path, DISCOVERY_WORKSPACE_SCAN, resolver);
                   });
  return list;
}

ScanRoots find_scan_roots(const StateHost& state, const std::string& project) {
  ScanRoots roots;
  const auto add = [&folders = roots.folders](const std::string& folder) {
    const bool is_new = std::find(folders.begin(), folders.end(), folder) == folders.end();
    if (!is_new || !is_directory(folder)) return false;
    folders.push_back(folder);
    return true;
  };
  for (const Json* const value :
       {&value_of(state, "project_resolution.requested_path"),
        &value_of(state, "selected_workroot"), &value_of(state, "source_workspace_root")}) {
    if (is_empty(*value)) continue;
    try {
      add(expanded_and_resolved(text_of(*value)));
    } catch (const std::exception&) {
      // A root that cannot be resolved is no root.
    }
  }
  const std::string outputs = parent_folder(project);
  if (ascii_lower_cased(file_name(outputs)) == OUTPUT_FOLDER_NAME) {
    const std::string managed_source_root = parent_folder(outputs);
    if (add(managed_source_root) && state.value("source_workspace_root") == nullptr) {
      roots.learned = managed_source_root;
    }
  }
  return roots;
}

void offer_scanned(CandidateList& list, const std::vector<std::string>& folders,
                   const std::string& project, const Collaborators& collaborators,
                   PathResolver& resolver) {
  for (const std::string& folder : folders) {
    const WorkspaceInventory inventory = collaborators.inventory_workspace(folder);
    const std::string_view how =
        is_within(project, folder) ? DISCOVERY_PROJECT_FOLDER : DISCOVERY_WORKSPACE_SCAN;
    for (const std::string& file : inventory.structure_files) {
      offer(list, join_path(folder, file), how, resolver);
    }
  }
}

std::vector<SkippedFile> skip_other_files(std::vector<Candidate>& candidates,
                                          const std::string& project) {
  std::vector<SkippedFile> skipped;
  std::set<std::string> seen;
  std::erase_if(candidates, [&](const Candidate& candidate) {
    const bool is_repeat = !seen.insert(candidate.text).second;
    if (!is_repeat && is_structure_file(candidate.text)) return false;
    const std::string path = shown_path(candidate.text, project);
    skipped.push_back(
        {.path = path,
         .reason = is_repeat ? SkipReason::same_file : SkipReason::not_a_structure_file,
         .discovery = candidate.how,
         .other = is_repeat ? path : ""});
    return true;
  });
  return skipped;
}

}  // namespace structure_ingest::internal
