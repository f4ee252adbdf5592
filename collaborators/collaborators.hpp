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
  std::string state;
};

/// The structure files of one directory tree; a relative path is relative to that directory.
struct WorkspaceInventory {
  std::vector<std::string> structure_files;
};

/// A judgement of one structure against the request.
struct RelevanceVerdict {
  std::string source;  // the structure's file name, or the "path" of its source entry
  std::string role;
  double confidence = 0.0;  // 0 to 1
  std::string reason;       // may be empty
};

struct RelevanceReport {
  std::vector<RelevanceVerdict> verdicts;
};

/// An error that was absorbed, and where.
struct SuppressedError {
  std::string node;
  std::string op;
  std::exception_ptr exc;
};

/// The agent's other modules. An empty slot is a missing module: calling it fails with
/// std::bad_function_call, and the failure goes where the caller's rules send it. Only
/// `atomic_write_json` must be given.
struct Collaborators {
  /// Writes a value as one JSON document, so that a reader never sees a part of it. A failure of
  /// the file system is a std::system_error.
  using AtomicWriteJson = std::function<void(const std::string& path, const Json& value)>;
  /// Records that an error was absorbed; `project_path` is the value in the agent state, or null.
  using RecordSuppressedError =
      std::function<void(const Json& project_path, const SuppressedError& error)>;
  using TrustStateFor = std::function<TrustRecord(const std::string& project_folder)>;
  using InventoryWorkspace = std::function<WorkspaceInventory(const std::string& root)>;
  using AssessStructureRelevance = std::function<RelevanceReport(
      const std::vector<Json>& entries, const std::string& request, const Json& state)>;

  /// Throws std::invalid_argument for an empty `write_json`.
  STRUCTURE_INGEST_API explicit Collaborators(AtomicWriteJson write_json);

  AtomicWriteJson atomic_write_json;
  RecordSuppressedError record_suppressed_error;
  TrustStateFor trust_state_for;
  InventoryWorkspace inventory_workspace;
  AssessStructureRelevance assess_structure_relevance;
  /// The role that marks a structure as unrelated to the request (the name is the agent's).
  std::string ROLE_UNRELATED = "unrelated";
};

/// The modules that are used where a call is given no others. Declared here and defined by whoever
/// supplies them; without it the library does not link.
STRUCTURE_INGEST_API Collaborators agent_modules();

}  // namespace structure_ingest
