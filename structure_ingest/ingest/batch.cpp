#include "structure_ingest/ingest/batch.hpp"

#include <algorithm>
#include <utility>

#include "structure_ingest/base/path.hpp"
#include "structure_ingest/ingest/entries.hpp"

namespace structure_ingest {
namespace {

struct Batch {
  internal::Ingested ingested;
  std::vector<Json> json;  // its entries as the manifest holds them
  std::string manifest_error;
};

Batch ingest(const std::string& project_path, const std::vector<std::string>& candidate_paths,
             const IngestOptions& options) {
  internal::PathResolver resolver;
  std::vector<internal::Candidate> candidates;
  for (const std::string& path : candidate_paths) candidates.push_back({.text = path});
  const internal::BatchInput input = {
      .project = internal::resolve_path(project_path),
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
      .parser = options.parser};
  Batch batch{
      .ingested = internal::ingested_entries(input, resolver), .json = {}, .manifest_error = {}};
  batch.json = internal::json_entries(batch.ingested.entries);
  if (options.dry_run) return batch;
  batch.manifest_error = internal::write_manifest(input.project, batch.json, options.collaborators);
  if (options.check) {
    internal::write_findings(input.project, batch.ingested.entries, options.collaborators);
  }
  return batch;
}

}  // namespace

std::vector<Json> ingest_structure_files(const std::string& project_path,
                                         const std::vector<std::string>& candidate_paths,
                                         const IngestOptions& options) {
  return ingest(project_path, candidate_paths, options).json;
}

IngestOutcome ingest_batch(const std::string& project_path,
                           const std::vector<std::string>& candidate_paths,
                           const IngestOptions& options) {
  Batch batch = ingest(project_path, candidate_paths, options);
  return {.entries = std::move(batch.ingested.entries),
          .skipped = std::move(batch.ingested.skipped),
          .manifest_error = std::move(batch.manifest_error),
          .why_no_ase = std::move(batch.ingested.why_no_ase)};
}

}  // namespace structure_ingest
