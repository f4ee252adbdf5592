#include "collaborators/agent_modules/directory_trust.hpp"

#include <cstdlib>
#include <stdexcept>

#include "collaborators/agent_modules/atomic_io.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/replace_file.hpp"
#include "structure_ingest/base/text.hpp"

namespace agent_modules {
namespace {

namespace base = structure_ingest::internal;
using structure_ingest::Json;

void check_list(const Json& list) {
  const auto refuse = [](const std::string& what) {
    throw std::runtime_error("the trust list " + trust_list_path() + " is malformed: " + what);
  };
  if (!list.is_object()) refuse("it is not a JSON object");
  for (const auto& [directory, state] : list.items()) {
    if (state != "trusted" && state != "untrusted") {
      refuse("\"" + base::shortened(directory, 200) +
             "\" is neither \"trusted\" nor \"untrusted\"");
    }
  }
}

}  // namespace

std::string trust_list_path() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): reading the environment is all that is done here.
  const char* const config = std::getenv("XDG_CONFIG_HOME");
  const std::string folder =
      config != nullptr && base::is_absolute(config) ? config : base::expand_home("~/.config");
  return base::join_path(folder, "structure_ingest/directory_trust.json");
}

Json trust_list() {
  try {
    Json list = read_json(trust_list_path(), Json::object());
    check_list(list);
    return list;
  } catch (const structure_ingest::JsonError& error) {
    throw std::runtime_error("the trust list " + trust_list_path() +
                             " is malformed: " + error.what());
  }
}

structure_ingest::TrustRecord trust_state_for(const std::string& directory) {
  const Json list = trust_list();
  for (std::string folder = base::resolve_path(directory);; folder = base::parent_folder(folder)) {
    if (const auto found = list.find(folder); found != list.end())
      return {found->get<std::string>()};
    if (folder == "/") return {"unknown"};
  }
}

void set_trust(const std::string& directory, const std::optional<std::string>& state) {
  const std::string path = trust_list_path();
  base::create_folders(base::parent_folder(path));
  try {
    update_json(path, Json::object(), [&](Json& list) {
      check_list(list);
      const std::string folder = base::resolve_path(directory);
      if (base::valid_utf8_prefix(folder) < folder.size()) {
        throw std::runtime_error("the trust list can hold no name that is not UTF-8: " +
                                 base::quoted_form(folder));
      }
      if (state) {
        list[folder] = *state;
      } else {
        list.erase(folder);
      }
      check_list(list);
    });
  } catch (const structure_ingest::JsonError& error) {
    throw std::runtime_error("the trust list " + path + " is malformed: " + error.what());
  }
}

}  // namespace agent_modules
