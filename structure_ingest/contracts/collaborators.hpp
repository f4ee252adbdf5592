// The interface to the agent's other modules: one slot for each operation that structure ingestion
// calls, and the values that these operations take and return.
#pragma once

#include <exception>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json_fwd.hpp"

namespace structure_ingest {

/// Thrown by a host's function (one of the agent's modules) when the user interrupts
/// the call or the process is to exit. It passes through every handler: one that absorbs failures
/// of any kind must let it through.
struct Interruption {};

/// The trust in a directory. Only the state "untrusted" has an effect.
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
  std::string reason;       ///< for the note on a dropped structure; may be empty
};

/// The result of an assessment. A structure without a verdict is kept.
struct RelevanceReport {
  std::vector<RelevanceVerdict> verdicts;  ///< of several that drop one source, the last counts
};

/// An error that was caught and not passed on, and where it arose.
struct SuppressedError {
  std::string node;        ///< the module
  std::string op;          ///< its operation
  std::exception_ptr exc;  ///< the error; never null
};

/// A writer of JSON documents, for `Collaborators::atomic_write_json`, that also takes the text of
/// a document piece by piece: an ingestion then never has its whole manifest in memory. Both slots
/// must be given.
struct JsonFileWriter {
  /// Takes the next piece of a text.
  using TextSink = std::function<void(std::string_view piece)>;
  /// Hands a text over from its beginning to its end.
  using GiveText = std::function<void(const TextSink& take)>;

  /// Writes a value.
  std::function<void(const std::string& path, const Json& value)> write_value;
  /// Writes the text of a document as `write_value` writes the value that it is the text of. The
  /// text is given without a final line feed.
  std::function<void(const std::string& path, const GiveText& text)> write_text;
  /// The blanks a level in such a text, as for `json_text`.
  int indent = 2;

  /// Calls `write_value`.
  void operator()(const std::string& path, const Json& value) const { write_value(path, value); }
};

/// The agent's other modules. An empty slot is a missing module: calling it fails with
/// std::bad_function_call, which is handled like any failure of that module. Only
/// `atomic_write_json` is required.
struct Collaborators {
  /// Writes a value as one JSON document, so that a reader never sees a partial file. Throws
  /// std::system_error for a failure of the file system, a missing folder of `path` included.
  using AtomicWriteJson = std::function<void(const std::string& path, const Json& value)>;
  /// Records an error that was caught and not passed on; `project_path` is the value in the agent
  /// state, or null. Exceptions from it are ignored.
  using RecordSuppressedError =
      std::function<void(const Json& project_path, const SuppressedError& error)>;
  /// Returns the trust in a resolved folder. A failure counts as trust.
  using TrustStateFor = std::function<TrustRecord(const std::string& project_folder)>;
  /// Lists the structure files of an existing, resolved folder. A failure ends the hydration.
  using InventoryWorkspace = std::function<WorkspaceInventory(const std::string& root)>;
  /// Judges source entries against a non-empty request; `state` is the whole agent state. After a
  /// failure nothing is dropped.
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

/// The default modules, used where a call is given none. Declared here and defined by whoever
/// supplies the modules; without a definition the library does not link.
STRUCTURE_INGEST_API Collaborators agent_modules();

/// Every element symbol that structure files may contain, in canonical form (Fe, not FE). Declared
/// here and defined by whoever supplies the agent's modules; without a definition the library does
/// not link. It must be constant-initialised, so that it can be read at any time.
STRUCTURE_INGEST_API extern const std::span<const std::string_view> KNOWN_ELEMENT_SYMBOLS;

}  // namespace structure_ingest
