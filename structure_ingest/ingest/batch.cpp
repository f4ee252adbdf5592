#include "structure_ingest/ingest/batch.hpp"

#include <utility>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/ingest/entries.hpp"
#include "structure_ingest/ingest/source_entry.hpp"

namespace structure_ingest {
namespace {

internal::BatchInput input_of(const std::string& project_path,
                              const std::vector<std::string>& candidate_paths,
                              const IngestOptions& options) {
  internal::BatchInput input{.project = internal::resolve_path(project_path),
                             .candidates = {},
                             .limit = options.limit,
                             .discovery_of = internal::kinds_in(options.discovery_by_path),
                             .options = options.batch};
  input.candidates.reserve(candidate_paths.size());
  for (const std::string& path : candidate_paths) input.candidates.push_back({.text = path});
  return input;
}

IngestOutcome ingest(const internal::BatchInput& input) {
  internal::PathResolver resolver;
  return internal::ingested_entries(input, resolver);
}

/// Writes manifest and findings. The manifest holds the entries in the form in which the caller has
/// them. Returns why it could not be written.
template <typename Entries>
std::string record_batch(const internal::BatchInput& input, Entries& in_manifest,
                         const std::vector<SourceEntry>& entries, const IngestOptions& options) {
  if (options.batch.dry_run) return {};
  std::string error = internal::write_manifest(input.project, in_manifest, options.collaborators);
  if (options.batch.check) internal::keep_findings(input.project, entries);
  return error;
}

}  // namespace

std::vector<Json> ingest_structure_files(const std::string& project_path,
                                         const std::vector<std::string>& candidate_paths,
                                         const IngestOptions& options) {
  const internal::BatchInput input = input_of(project_path, candidate_paths, options);
  const IngestOutcome outcome = ingest(input);
  std::vector<Json> json = internal::json_entries(outcome.entries);
  record_batch(input, json, outcome.entries, options);
  return json;
}

IngestOutcome ingest_batch(const std::string& project_path,
                           const std::vector<std::string>& candidate_paths,
                           const IngestOptions& options) {
  const internal::BatchInput input = input_of(project_path, candidate_paths, options);
  IngestOutcome outcome = ingest(input);
  outcome.manifest_error = record_batch(input, outcome.entries, outcome.entries, options);
  return outcome;
}

}  // namespace structure_ingest
