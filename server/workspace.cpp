#include "server/workspace.hpp"

#include <deque>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

#include "collaborators/agent_modules/directory_trust.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace server {
namespace {

namespace fs = std::filesystem;
namespace base = structure_ingest::internal;

// A search must end also where a root is a whole disk.
constexpr std::size_t MOST_FOLDERS = 50000;
constexpr std::size_t MOST_PROJECTS = 5000;

bool is_skipped(const std::string& name) {
  return name.starts_with('.') || name == "node_modules" || name == "__pycache__";
}

/// Whether a folder has a mark of a project, or holds what ingestion writes.
bool is_project(const std::string& folder) {
  const std::string inside = base::join_path(folder, "file");
  return structure_ingest::owning_project_root(inside) == folder ||
         base::is_regular_file(base::join_path(folder, structure_ingest::INGEST_MANIFEST_REL)) ||
         base::is_directory(base::join_path(folder, structure_ingest::INGESTED_DIRNAME));
}

}  // namespace

structure_ingest::StructureParser& Workspace::parser() {
  if (!parser_) parser_.emplace(parser_options_);
  parser_->begin_batch();
  return *parser_;
}

const std::vector<std::string>& Workspace::projects(const Call& call) {
  if (!projects_) projects_ = find_projects(call);
  return *projects_;
}

std::vector<std::string> Workspace::find_projects(const Call& call) const {
  const std::map<std::string, std::string> listed = agent_modules::readable_trust_list();
  std::set<std::string> projects;
  std::set<std::string> seen;
  std::deque<std::string> pending;
  for (const std::string& root : roots_.folders()) {
    if (!agent_modules::is_untrusted(root)) pending.push_back(root);
  }
  for (; !pending.empty() && seen.size() < MOST_FOLDERS && projects.size() < MOST_PROJECTS;
       pending.pop_front()) {
    call.check();
    const std::string& folder = pending.front();
    if (!seen.insert(folder).second) continue;
    if (is_project(folder)) projects.insert(folder);
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
      std::error_code ignored;
      if (entry->symlink_status(ignored).type() != fs::file_type::directory) continue;
      if (is_skipped(entry->path().filename().string())) continue;
      std::string path = entry->path().string();
      const auto state = listed.find(path);
      if (state == listed.end() || state->second != "untrusted") pending.push_back(std::move(path));
    }
  }
  return {projects.begin(), projects.end()};
}

}  // namespace server
