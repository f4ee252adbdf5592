// The entries of a batch before they are written down in any form.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/ingest/batch.hpp"
#include "structure_ingest/project/source_file.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

struct Candidate {
  std::string text;                    // as it was offered
  std::optional<SourceFile> source{};  // where it is absolute and was resolved already
  std::string how{};                   // the kind under which it was offered, if any
};

/// Candidates for a project whose folder is resolved.
struct BatchInput {
  std::string project;
  std::vector<Candidate> candidates;
  int limit;
  /// The discovery kind for a source identity; empty when there is none.
  std::function<std::string(const std::string& identity)> discovery_of;
  const BatchOptions& options;
};

/// A `discovery_of` that looks the kinds up in a map, which must outlive it.
std::function<std::string(const std::string&)> kinds_in(
    const std::map<std::string, std::string>& kinds);

/// Reads, fingerprints and copies the candidates as `ingest_structure_files` does, and writes no
/// manifest. `resolver` may have resolved other paths of the same call.
IngestOutcome ingested_entries(const BatchInput& input, PathResolver& resolver);

/// How the texts of a record are written down: bytes need not be UTF-8.
using TextForm = std::string (*)(std::string_view);

/// As `structure_source_entry`, with each text but those of lists in another form than UTF-8.
Json source_entry(const IngestedStructure& record, std::string_view discovery, TextForm form);

/// The entries as JSON, in their order.
std::vector<Json> json_entries(const std::vector<SourceEntry>& entries);

/// Writes the manifest of `entries`, unless there are none; they come back as they were. Returns
/// why it could not be written: the entries matter, the manifest does not, so a failure of the file
/// system is no error here.
std::string write_manifest(const std::string& project, std::vector<Json>& entries,
                           const Collaborators& collaborators);

/// As above for typed entries. Makes no JSON of their atoms, which would take several times their
/// memory, if the writer takes texts.
std::string write_manifest(const std::string& project, const std::vector<SourceEntry>& entries,
                           const Collaborators& collaborators);

/// What SourceEntry::to_json() gives, with placeholders for the lists of atoms, which it adds to
/// `lists`. They are those of the entry.
Json entry_without_lists(const SourceEntry& entry, std::vector<JsonList>& lists);

/// Adds the findings on the entries of a batch to those that the project keeps, in the place of
/// older ones on the same bytes. Best effort: they are a service beside the entries, so no failure
/// is an error here.
void keep_findings(const std::string& project, const std::vector<SourceEntry>& entries);

}  // namespace structure_ingest::internal
