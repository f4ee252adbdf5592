#include "structure_ingest/ingest/batch.hpp"

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/ingest/entries.hpp"
#include "structure_ingest/ingest/source_entry.hpp"

namespace structure_ingest {
namespace {

/// `project` is resolved.
IngestOutcome ingest(const std::string& project, const std::vector<std::string>& candidate_paths,
                     const IngestOptions& options) {
  internal::BatchInput input{.project = project,
                             .candidates = {},
                             .limit = options.limit,
                             .discovery_of = internal::kinds_in(options.discovery_by_path),
                             .options = options.batch};
  for (const std::string& path : candidate_paths) input.candidates.push_back({.text = path});
  internal::PathResolver resolver;
  return internal::ingested_entries(input, resolver);
}

/// Writes manifest and findings. The manifest holds the entries in the form in which the caller has
/// them. Returns why it could not be written.
template <typename Entries>
std::string record_batch(const std::string& project, Entries& in_manifest,
                         const std::vector<SourceEntry>& entries, const IngestOptions& options) {
  if (options.batch.dry_run) return {};
  std::string error = internal::write_manifest(project, in_manifest, options.collaborators);
  if (options.batch.check) internal::keep_findings(project, entries);
  return error;
}

}  // namespace

std::vector<Json> ingest_structure_files(const std::string& project_path,
                                         const std::vector<std::string>& candidate_paths,
                                         const IngestOptions& options) {
  const std::string project = internal::resolve_path(project_path);
  const IngestOutcome outcome = ingest(project, candidate_paths, options);
  std::vector<Json> json = internal::json_entries(outcome.entries);
  record_batch(project, json, outcome.entries, options);
  return json;
}

IngestOutcome ingest_batch(const std::string& project_path,
                           const std::vector<std::string>& candidate_paths,
                           const IngestOptions& options) {
  const std::string project = internal::resolve_path(project_path);
  IngestOutcome outcome = ingest(project, candidate_paths, options);
  outcome.manifest_error = record_batch(project, outcome.entries, outcome.entries, options);
  return outcome;
}

}  // namespace structure_ingest
