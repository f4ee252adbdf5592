// The directories that the user trusts: a list of the user's own, outside every workspace.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "structure_ingest/contracts/collaborators.hpp"

namespace agent_modules {

/// The path of the list: "structure_ingest/directory_trust.json" in the user's configuration folder
/// (XDG_CONFIG_HOME when that is an absolute path, else ~/.config). It is a JSON object that maps
/// absolute directories to "trusted" or "untrusted". Throws std::runtime_error when the home
/// directory is not known.
std::string trust_list_path();

/// The directories of the list, resolved, and their states; empty when there is no list. Entries
/// may use a leading "~", links, ".." and a trailing slash; if two entries name one directory,
/// "untrusted" wins. Throws std::runtime_error with a message that names the list when it cannot be
/// read, is malformed (an entry that is not absolute included), or may be written by other users.
std::map<std::string, std::string> trust_list();

/// The state of a resolved directory: that of its nearest listed ancestor or of the directory
/// itself, "trusted" or "untrusted"; "unknown" when none is listed. Throws as `trust_list`.
structure_ingest::TrustRecord trust_state_for(const std::string& directory);

/// For scans, which a list that cannot be read must not keep from any folder: the list, empty where
/// `trust_list` throws; and whether a resolved directory is untrusted, false where it throws.
std::map<std::string, std::string> readable_trust_list();
bool is_untrusted(const std::string& directory);

/// Lists a directory as "trusted" or "untrusted", or removes it from the list when `state` is
/// absent. Safe against concurrent changes. Throws as `trust_list`, std::runtime_error also for a
/// directory to be listed that does not exist, and std::filesystem::filesystem_error when the list
/// cannot be written.
void set_trust(const std::string& directory, const std::optional<std::string>& state);

}  // namespace agent_modules
