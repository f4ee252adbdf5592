// What came of a batch: the entries as they are shown, and the exit status.
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/commands.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// Input of the program itself (options, state) that cannot be used; leads to WRONG_USAGE.
struct WrongInput : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What to say of a file that is no JSON: "state.json:3:7: the state is malformed: ...", with the
/// line and column where the error has them; `what` may be empty.
std::string malformed(const std::string& path, const std::string& what,
                      const structure_ingest::JsonError& error);

/// Prints entries as one JSON array on one line.
void print_array(std::span<const structure_ingest::SourceEntry> entries);

/// Prints an entry: its source, what it holds, its canonical copy, its warnings and what
/// findings say against it.
void show_entry(const structure_ingest::SourceEntry& entry);

/// Says on standard error which of the paths given are skipped for their names, and which lie in
/// the current directory, while the project, to which relative paths belong, has no such file.
void hint_at_paths(const std::vector<std::string>& paths,
                   std::span<const structure_ingest::SourceEntry> entries);

/// The status of a batch; each failure to write is said on standard error, that of the manifest
/// included.
Status status_of(std::span<const structure_ingest::SourceEntry> entries,
                 const std::string& manifest_error);

}  // namespace apps
