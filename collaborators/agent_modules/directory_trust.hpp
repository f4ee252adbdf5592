// Which directories the user trusts: a list of the user's own, outside of every workspace.
#pragma once

#include <optional>
#include <string>

#include "collaborators/collaborators.hpp"

namespace agent_modules {

/// Where the list stands: "structure_ingest/directory_trust.json" in the user's configuration
/// folder (XDG_CONFIG_HOME when that is an absolute path, else ~/.config). It is a JSON object that
/// maps absolute directories to "trusted" or "untrusted".
/// Throws std::runtime_error when the home directory is not known.
std::string trust_list_path();

/// The whole list; an empty object when there is none. Throws std::runtime_error with a message
/// that names the list when it cannot be read or is malformed.
structure_ingest::Json trust_list();

/// What the nearest listed ancestor of a directory (or it itself) says: "trusted" or "untrusted";
/// "unknown" when none is listed. Throws as `trust_list`.
structure_ingest::TrustRecord trust_state_for(const std::string& directory);

/// Lists a directory as "trusted" or "untrusted", or takes it off the list when `state` is absent.
/// Safe against others who change the list at the same time. Throws as `trust_list`, and
/// std::filesystem::filesystem_error when the list cannot be written.
void set_trust(const std::string& directory, const std::optional<std::string>& state);

}  // namespace agent_modules
