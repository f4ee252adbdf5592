// Runs ASE in a child process: one worker reads the CIF and VASP files of a batch.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/base/child_process.hpp"
#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/readers/ase_worker.hpp"

namespace structure_ingest::internal {

/// The Python interpreters that may be able to import ASE: the first `python3` in PATH, then the
/// one configured when the library was built. Relative folders in PATH are ignored: what they name
/// depends on the current folder.
std::vector<std::string> ase_interpreters();

struct AseSessionOptions {
  /// How long ASE may take to load, and then for each file.
  std::chrono::milliseconds time_limit = std::chrono::seconds(120);
  /// How long an interpreter may take to report that it has ASE while a later one is ready.
  std::chrono::milliseconds greeting_limit = std::chrono::seconds(5);
  /// Tried before the others; a path that is not absolute is ignored.
  std::vector<std::string> first_interpreters{};
  std::optional<std::vector<std::string>> interpreters{};  // instead of ase_interpreters()
  std::string script = ASE_WORKER_SCRIPT;
};

/// Owns the worker: starts it for the first file, reuses it for later files, and ends it with the
/// session. When a worker ends, takes too long or gives a malformed answer, only the file it was
/// reading fails, with the reason as its message; the next file gets a new worker, of the
/// interpreter that had ASE before. When ASE cannot be loaded, each file tries again. Use a session
/// on one thread at a time; sessions share nothing.
class AseSession {
 public:
  explicit AseSession(AseSessionOptions options = {});

  /// Asks ASE for the file at `path`, relative to the current folder unless it is absolute.
  AseAnswer read(const std::string& path);

  /// After an answer `unavailable`, what happened to each interpreter, for example
  /// "/usr/bin/python3 cannot be started: Too many open files". Empty after any other answer.
  const std::string& why_unavailable() const { return why_unavailable_; }

  /// The process id of the worker that waits for the next file, if there is one.
  std::optional<pid_t> worker_id() const;

 private:
  std::vector<std::string> interpreters_in_order() const;
  std::unique_ptr<ChildProcess> start_worker();

  AseSessionOptions options_;
  std::unique_ptr<ChildProcess> worker_;
  std::string latest_interpreter_;              // of the latest worker: now tried first
  std::vector<std::string> slow_interpreters_;  // missed a limit once: now tried last
  std::string why_unavailable_;
};

}  // namespace structure_ingest::internal
