#include "structure_ingest/ingest/batch.hpp"

#include <algorithm>
#include <utility>

#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/ingest/entries.hpp"

namespace structure_ingest {
namespace {

internal::BatchInput input_of(const std::string& project_path,
                              const std::vector<std::string>& candidate_paths,
                              const IngestOptions& options) {
  std::vector<internal::Candidate> candidates;
  candidates.reserve(candidate_paths.size());
  for (const std::string& path : candidate_paths) candidates.push_back({.text = path});
  return {.project = internal::resolve_path(project_path),
          .candidates = std::move(candidates),
          .limit = static_cast<std::size_t>(std::max(1, options.limit)),
          .discovery_of =
              [&kinds = options.discovery_by_path](const std::string& identity) {
                const auto known = kinds.find(identity);
                return known == kinds.end() ? std::string() : known->second;
              },
          .progress = options.progress,
          .dry_run = options.dry_run,
          .check = options.check,
          .parser = options.parser,
          .may_read = options.may_read};
}

internal::Ingested ingest(const internal::BatchInput& input) {
  internal::PathResolver resolver;
  return internal::ingested_entries(input, resolver);
}

/// Writes manifest and findings. The manifest holds the entries in the form in which the caller has
/// them. Returns why it could not be written.
template <typename Entries>
std::string record_batch(const internal::BatchInput& input, Entries& in_manifest,
                         const std::vector<SourceEntry>& entries, const IngestOptions& options) {
  if (options.dry_run) return {};
  std::string error = internal::write_manifest(input.project, in_manifest, options.collaborators);
  if (options.check) internal::write_findings(input.project, entries, options.collaborators);
  return error;
}

}  // namespace

std::vector<Json> ingest_structure_files(const std::string& project_path,
                                         const std::vector<std::string>& candidate_paths,
                                         const IngestOptions& options) {
  const internal::BatchInput input = input_of(project_path, candidate_paths, options);
  const internal::Ingested ingested = ingest(input);
  std::vector<Json> json = internal::json_entries(ingested.entries);
  record_batch(input, json, ingested.entries, options);
  return json;
}

IngestOutcome ingest_batch(const std::string& project_path,
                           const std::vector<std::string>& candidate_paths,
                           const IngestOptions& options) {
  const internal::BatchInput input = input_of(project_path, candidate_paths, options);
  internal::Ingested ingested = ingest(input);
  std::string manifest_error = record_batch(input, ingested.entries, ingested.entries, options);
  return {.entries = std::move(ingested.entries),
          .skipped = std::move(ingested.skipped),
          .manifest_error = std::move(manifest_error),
          .why_no_ase = std::move(ingested.why_no_ase)};
}

}  // namespace structure_ingest
