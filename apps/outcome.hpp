// What came of an ingestion: the entries as they are shown, and the exit status.
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

/// Notes the failures to write that the library absorbs, so that the exit status can tell of them.
struct WriteFailures {
  std::vector<std::string> messages;

  /// Watches the manifest's writer; this object must outlive `collaborators`.
  void watch(structure_ingest::Collaborators& collaborators);
};

/// Prints a source entry: its source, what it holds, its canonical copy and its warnings.
void show_entry(const structure_ingest::Json& entry);

/// The status of a batch; each failure to write is said on standard error.
Status status_of(std::span<const structure_ingest::Json> entries, const WriteFailures& failures);

}  // namespace apps
