// Atomic JSON files: the agent's writer, and changes to a file that several programs share.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "structure_ingest/base/json.hpp"

namespace agent_modules {

/// Writes `value` as one JSON document (UTF-8, two blanks a level, a final line feed), creating the
/// parent folder. A reader sees the old file or the new one, and a failure leaves the old one; a
/// symbolic link at `path` is replaced. Throws std::filesystem::filesystem_error.
void atomic_write_json(const std::string& path, const structure_ingest::Json& value);

/// Reads the JSON document at `path`, lets `change` work on it and writes it back when it is
/// different afterwards; `missing` is the value of a file that does not exist. The folder stays
/// locked meanwhile, so that of two changes at once none is lost. The folder must exist.
/// Throws std::filesystem::filesystem_error, with std::errc::operation_would_block when another
/// holds the lock for longer than `most_wait`, and structure_ingest::JsonError for a malformed
/// file, which is left as it is; what `change` throws leaves the file as it is, too.
void update_json(const std::string& path, const structure_ingest::Json& missing,
                 const std::function<void(structure_ingest::Json&)>& change,
                 std::chrono::milliseconds most_wait = std::chrono::seconds(10));

/// The JSON document at `path`, or `missing` when nothing stands there. Throws as `update_json`.
structure_ingest::Json read_json(const std::string& path, const structure_ingest::Json& missing);

}  // namespace agent_modules
