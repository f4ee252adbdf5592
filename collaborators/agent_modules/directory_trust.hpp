// Which directories the user trusts: a list of the user's own, outside of every workspace.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "collaborators/collaborators.hpp"

namespace agent_modules {

/// Where the list stands: "structure_ingest/directory_trust.json" in the user's configuration
/// folder (XDG_CONFIG_HOME when that is an absolute path, else ~/.config). It is a JSON object that
/// maps absolute directories to "trusted" or "untrusted".
/// Throws std::runtime_error when the home directory is not known.
std::string trust_list_path();

/// The directories of the list, resolved, and their states; empty when there is no list. A leading
/// "~", links, ".." and a trailing slash mean what they mean elsewhere; of two entries for one
/// directory "untrusted" counts. Throws std::runtime_error with a message that names the list when
/// it cannot be read, is malformed (a directory that is not absolute is that, too), or may be
/// written by other users.
std::map<std::string, std::string> trust_list();

/// What the nearest listed ancestor of a resolved directory, or it itself, says: "trusted" or
/// "untrusted"; "unknown" when none is listed. Throws as `trust_list`.
structure_ingest::TrustRecord trust_state_for(const std::string& directory);

/// Lists a directory as "trusted" or "untrusted", or takes it off the list when `state` is absent.
/// Safe against others who change the list at the same time. Throws as `trust_list`, a
/// std::runtime_error also for a directory to be listed that does not exist, and
/// std::filesystem::filesystem_error when the list cannot be written.
void set_trust(const std::string& directory, const std::optional<std::string>& state);

}  // namespace agent_modules
