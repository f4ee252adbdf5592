// Atomic JSON files: a writer, and updates of a file that several programs share.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "structure_ingest/base/json.hpp"

namespace agent_modules {

/// Writes `value` as one JSON document (UTF-8, two blanks a level, a final line feed), creating the
/// parent folder. A reader sees the old file or the new one, and a failure leaves the old one.
/// Replaces a symbolic link at `path`. Throws std::filesystem::filesystem_error.
void atomic_write_json(const std::string& path, const structure_ingest::Json& value);

/// As above, for the text of a document without its final line feed, which `text` hands over piece
/// by piece.
using TextSink = std::function<void(std::string_view piece)>;
void atomic_write_text(const std::string& path, const std::function<void(const TextSink&)>& text);

/// Reads the JSON document at `path`, calls `change` on it, and writes it back if it differs;
/// `missing` is the value of a file that does not exist. Locks the folder meanwhile, so that no
/// concurrent change is lost. The folder must exist. Throws std::filesystem::filesystem_error, with
/// std::errc::operation_would_block when another process holds the lock for longer than
/// `most_wait`, and structure_ingest::JsonError for a malformed file. Any failure, an exception
/// from `change` included, leaves the file as it is.
void update_json(const std::string& path, const structure_ingest::Json& missing,
                 const std::function<void(structure_ingest::Json&)>& change,
                 std::chrono::milliseconds most_wait = std::chrono::seconds(10));

/// The JSON document at `path`, or `missing` when there is none. Throws as `update_json`.
structure_ingest::Json read_json(const std::string& path, const structure_ingest::Json& missing);

/// What to say of a file that is no JSON: "state.json:3:7: the state is malformed: ...", with the
/// line and column where the error has them; `what` may be empty.
std::string malformed(const std::string& path, const std::string& what,
                      const structure_ingest::JsonError& error);

}  // namespace agent_modules
