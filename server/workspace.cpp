#include "server/workspace.hpp"

#include <deque>
#include <exception>
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

/// The folders that the user lists, with their states.
std::map<std::string, std::string> listed_folders() {
  try {
    return agent_modules::trust_list();
  } catch (const std::exception&) {
    return {};  // a list that cannot be read does not make a folder untrusted
  }
}

bool is_untrusted_root(const std::string& root) {
  try {
    return agent_modules::trust_state_for(root).state == "untrusted";
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

structure_ingest::StructureParser& Workspace::parser() {
  if (!parser_) parser_.emplace();
  parser_->begin_batch();
  return *parser_;
}

const std::vector<std::string>& Workspace::projects(const std::function<void()>& check) {
  if (!projects_) projects_ = find_projects(roots_, check);
  return *projects_;
}

bool is_project(const std::string& folder) {
  const std::string inside = base::join_path(folder, "file");
  return structure_ingest::owning_project_root(inside) == folder ||
         base::is_regular_file(base::join_path(folder, structure_ingest::INGEST_MANIFEST_REL)) ||
         base::is_directory(base::join_path(folder, structure_ingest::INGESTED_DIRNAME));
}

std::vector<std::string> find_projects(const Roots& roots, const std::function<void()>& check) {
  const std::map<std::string, std::string> listed = listed_folders();
  std::set<std::string> projects;
  std::set<std::string> seen;
  std::deque<std::string> pending;
  for (const std::string& root : roots.folders()) {
    if (!is_untrusted_root(root)) pending.push_back(root);
  }
  for (; !pending.empty() && seen.size() < MOST_FOLDERS && projects.size() < MOST_PROJECTS;
       pending.pop_front()) {
    check();
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
