// Batch ingestion: candidate paths become source entries of a project, and the batch its manifest.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/ingest/skipped_file.hpp"

namespace structure_ingest {

struct SourceEntry;
class StructureParser;

/// The manifest of the latest batch, relative to the project folder.
inline constexpr std::string_view INGEST_MANIFEST_REL = ".diagnostics/ingested_structures.json";

/// Told before each file is read how many of the considered candidates are done, how many there
/// are, and the file's path; may be empty. What it throws ends the batch.
using Progress = std::function<void(std::size_t done, std::size_t total, const std::string& path)>;

/// Asked of each file before it is opened whether it may be read; empty where all may. The
/// links of `path` are not resolved.
using MayRead = std::function<bool(const std::string& path)>;

/// How a batch is read and written, by itself or as a part of a hydration.
struct BatchOptions {
  /// May be empty.
  Progress progress{};
  /// Whether nothing is written, neither copy nor manifest nor state: the outcome tells what would
  /// be done, unless a write would fail.
  bool dry_run = false;
  /// Whether the structures are checked: the entries then have findings, and the project keeps them
  /// (see `kept_findings`).
  bool check = true;
  /// Reads the files; null for a parser of this call alone. One that is kept over several calls
  /// keeps the process that runs ASE, so that only the first call waits for its start.
  StructureParser* parser = nullptr;
  /// A candidate that may not be read is skipped.
  MayRead may_read{};
  /// Asked before each file is read; may be empty. From true on the files that are left are
  /// skipped, and what was read is taken in as if there had been no others.
  std::function<bool()> stop{};
};

/// How many candidates a call considers unless it is told otherwise.
inline constexpr int DEFAULT_LIMIT = 8;

/// How candidates are taken in.
struct IngestOptions {
  /// How many candidates are considered; one that is skipped takes its place all the same.
  /// At least the first is always considered.
  int limit = DEFAULT_LIMIT;
  /// The discovery kind of a candidate by its source identity (the resolved absolute path,
  /// case-folded). A candidate without one is not taken from another project.
  std::map<std::string, std::string> discovery_by_path{};
  /// The agent's other modules, of which only the writer is used, for the manifest.
  Collaborators collaborators = agent_modules();
  BatchOptions batch{};  ///< how the files are read and written
};

/// Ingests the candidates in order into the project: skips names of no structure file, repeats, the
/// project's canonical copies and, unless attached, files of other projects; parses, fingerprints
/// and copies the rest. Returns one source entry each, "ok" being its last key, and writes the
/// manifest when there are any. A relative candidate lies under the project folder, one that begins
/// with "~" under that home directory.
/// A file that cannot be read, copied or recorded costs only itself. Throws
/// std::invalid_argument for a path with a NUL character, and what the collaborators throw that is
/// no std::system_error.
STRUCTURE_INGEST_API std::vector<Json> ingest_structure_files(
    const std::string& project_path, const std::vector<std::string>& candidate_paths,
    const IngestOptions& options = {});

/// What came of a batch.
struct IngestOutcome {
  std::vector<SourceEntry> entries;    ///< in the order of the candidates
  std::vector<SkippedFile> skipped{};  ///< the candidates of which there is no entry
  std::string manifest_error{};        ///< why the manifest could not be written; empty when it was
  std::string why_no_ase{};            ///< why ASE could not be used for a file; otherwise empty
};

/// The same with a typed result, for those who show it.
STRUCTURE_INGEST_API IngestOutcome ingest_batch(const std::string& project_path,
                                                const std::vector<std::string>& candidate_paths,
                                                const IngestOptions& options = {});

}  // namespace structure_ingest
