#include "collaborators/agent_modules/directory_trust.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "collaborators/agent_modules/atomic_io.hpp"
#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"

namespace agent_modules {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::Json;

constexpr const char* UNTRUSTED = "untrusted";

[[noreturn]] void refuse_list(const std::string& what) {
  throw std::runtime_error("the trust list " + trust_list_path() + " is malformed: " + what);
}

/// Resolves the directory of an entry of the list.
std::string listed_directory(const std::string& entry) {
  const std::string path = base::expand_home(entry);
  if (!base::is_absolute(path)) {
    refuse_list(base::quoted_form(base::shortened(entry, 200)) +
                " is not an absolute path: it could mean any folder");
  }
  return base::resolve_path(path);
}

std::map<std::string, std::string> directories_in(const Json& list) {
  if (!list.is_object()) refuse_list("it is not a JSON object");
  std::map<std::string, std::string> directories;
  for (const auto& [entry, state] : list.items()) {
    if (state != "trusted" && state != UNTRUSTED) {
      refuse_list("\"" + base::shortened(entry, 200) +
                  "\" is neither \"trusted\" nor \"untrusted\"");
    }
    std::string& known = directories[listed_directory(entry)];
    if (known != UNTRUSTED) known = state.get<std::string>();
  }
  return directories;
}

/// A list that others may write could hold entries that are not the user's: refuse it.
void refuse_list_of_others() {
  const std::string path = trust_list_path();
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return;
  const bool is_ours = status.st_uid == geteuid() || status.st_uid == 0;
  if (is_ours && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0) return;
  throw std::runtime_error("the trust list " + path +
                           " may be written by other users: it must belong to you, with mode 0644 "
                           "or stricter");
}

}  // namespace

std::string trust_list_path() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): this only reads the environment.
  const char* const config = std::getenv("XDG_CONFIG_HOME");
  const std::string folder =
      config != nullptr && base::is_absolute(config) ? config : base::expand_home("~/.config");
  return base::join_path(folder, "structure_ingest/directory_trust.json");
}

std::map<std::string, std::string> trust_list() {
  try {
    refuse_list_of_others();
    return directories_in(read_json(trust_list_path(), Json::object()));
  } catch (const structure_ingest::JsonError& error) {
    refuse_list(error.what());
  }
}

structure_ingest::TrustRecord trust_state_for(const std::string& directory) {
  const std::map<std::string, std::string> list = trust_list();
  for (std::string folder = directory;; folder = base::parent_folder(folder)) {
    if (const auto found = list.find(folder); found != list.end()) return {found->second};
    if (folder == "/" || folder == ".") return {"unknown"};
  }
}

std::map<std::string, std::string> readable_trust_list() {
  try {
    return trust_list();
  } catch (const std::exception&) {
    return {};
  }
}

bool is_untrusted(const std::string& directory) {
  try {
    return trust_state_for(directory).state == UNTRUSTED;
  } catch (const std::exception&) {
    return false;
  }
}

void set_trust(const std::string& directory, const std::optional<std::string>& state) {
  const std::string folder = base::resolve_path(directory);
  if (base::valid_utf8_prefix(folder) < folder.size()) {
    throw std::runtime_error("the trust list can hold no name that is not UTF-8: " +
                             base::quoted_form(folder));
  }
  if (state && !base::is_directory(folder)) throw std::runtime_error(folder + ": not a directory");
  const std::string path = trust_list_path();
  base::create_folders(base::parent_folder(path));
  refuse_list_of_others();
  try {
    update_json(path, Json::object(), [&](Json& list) {
      directories_in(list);
      Json changed = Json::object();
      for (const auto& [entry, old_state] : list.items()) {
        if (listed_directory(entry) != folder) changed[entry] = old_state;
      }
      if (state) changed[folder] = *state;
      directories_in(changed);
      list = std::move(changed);
    });
  } catch (const structure_ingest::JsonError& error) {
    refuse_list(error.what());
  }
  // The user's umask may have created a file that a group may write.
  chmod(path.c_str(), S_IRUSR | S_IWUSR);
}

}  // namespace agent_modules
