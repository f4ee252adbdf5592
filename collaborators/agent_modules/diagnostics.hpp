// The log of suppressed errors in a project's folder of diagnostics.
#pragma once

#include <string_view>

#include "collaborators/collaborators.hpp"

namespace agent_modules {

/// The log, relative to the project folder: one JSON object a line with the keys "time" (UTC),
/// "node", "op", "error_type" and "message".
inline constexpr std::string_view SUPPRESSED_ERRORS_REL = ".diagnostics/suppressed_errors.jsonl";

/// Appends a line on `error` to the log of the project (an empty `project_path` is the current
/// directory). A log of more than 1 MiB is first moved to the same name with ".1" behind it. A
/// project that does not exist or cannot be written to is silently ignored.
void record_suppressed_error(const structure_ingest::Json& project_path,
                             const structure_ingest::SuppressedError& error);

}  // namespace agent_modules
