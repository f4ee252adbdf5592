// The log of suppressed errors in a project.
#pragma once

#include <string_view>

#include "structure_ingest/contracts/collaborators.hpp"

namespace agent_modules {

/// The log, relative to the project folder: one JSON object a line with the keys "time" (UTC),
/// "node", "op", "error_type" and "message".
inline constexpr std::string_view SUPPRESSED_ERRORS_REL = ".diagnostics/suppressed_errors.jsonl";

/// Appends a line about `error` to the log of the project (an empty `project_path` is the current
/// directory). First renames a log of more than 1 MiB, adding ".1" to its name. A project that does
/// not exist or is not writable is silently ignored.
void record_suppressed_error(const structure_ingest::Json& project_path,
                             const structure_ingest::SuppressedError& error);

}  // namespace agent_modules
