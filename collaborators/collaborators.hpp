// What structure ingestion asks of the agent's other modules: one slot for each operation, and the
// values that cross the boundary.
#pragma once

#include <exception>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json.hpp"

namespace structure_ingest {

/// What is known of the trust in a directory. Only the state "untrusted" is acted on.
struct TrustRecord {
  std::string state;  ///< "untrusted", or anything else
};

/// The structure files of one directory tree.
struct WorkspaceInventory {
  std::vector<std::string> structure_files;  ///< absolute paths, or relative to the directory
};

/// A judgement of one structure against the request.
struct RelevanceVerdict {
  std::string source;       ///< the structure's file name, or the "path" of its source entry
  std::string role;         ///< Collaborators::ROLE_UNRELATED, or anything else
  double confidence = 0.0;  ///< 0 to 1; from 0.8 on an unrelated structure is dropped
  std::string reason;       ///< what a note on a dropped structure says; may be empty
};

/// What an assessment found. A structure without a verdict is kept.
struct RelevanceReport {
  std::vector<RelevanceVerdict> verdicts;  ///< of several that drop one source the last counts
};

/// An error that was absorbed, and where.
struct SuppressedError {
  std::string node;        ///< the module
  std::string op;          ///< its operation
  std::exception_ptr exc;  ///< the error; never null
};

/// The agent's other modules. An empty slot is a missing module: calling it fails with
/// std::bad_function_call, and the failure goes where the caller's rules send it. Only
/// `atomic_write_json` must be given.
struct Collaborators {
  /// Writes a value as one JSON document, so that a reader never sees a part of it. A failure of
  /// the file system is a std::system_error, also that the folder of `path` is missing.
  using AtomicWriteJson = std::function<void(const std::string& path, const Json& value)>;
  /// Records that an error was absorbed; `project_path` is the value in the agent state, or null.
  /// What it throws is ignored.
  using RecordSuppressedError =
      std::function<void(const Json& project_path, const SuppressedError& error)>;
  /// Tells the trust in a resolved folder. A failure counts as trust.
  using TrustStateFor = std::function<TrustRecord(const std::string& project_folder)>;
  /// Lists the structure files of an existing, resolved folder. A failure ends the hydration.
  using InventoryWorkspace = std::function<WorkspaceInventory(const std::string& root)>;
  /// Judges source entries by a request that is not empty; `state` is the whole agent state. After
  /// a failure nothing is dropped.
  using AssessStructureRelevance = std::function<RelevanceReport(
      const std::vector<Json>& entries, const std::string& request, const Json& state)>;

  /// Throws std::invalid_argument for an empty `write_json`.
  STRUCTURE_INGEST_API explicit Collaborators(AtomicWriteJson write_json);

  AtomicWriteJson atomic_write_json;                    ///< writes the manifest
  RecordSuppressedError record_suppressed_error;        ///< after a hydration that failed
  TrustStateFor trust_state_for;                        ///< before a hydration scans anything
  InventoryWorkspace inventory_workspace;               ///< for each folder that is scanned
  AssessStructureRelevance assess_structure_relevance;  ///< for new entries, if there is a request
  /// The role that marks a structure as unrelated to the request (the name is the agent's).
  std::string ROLE_UNRELATED = "unrelated";
};

/// The modules that are used where a call is given no others. Declared here and defined by whoever
/// supplies them; without it the library does not link.
STRUCTURE_INGEST_API Collaborators agent_modules();

}  // namespace structure_ingest
