// ASE in a child process: one worker that reads the CIF and VASP files of a batch.
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
/// one that was configured when the library was built. Folders in PATH that are not absolute are
/// left out: what they name depends on the current folder.
std::vector<std::string> ase_interpreters();

struct AseSessionOptions {
  /// How long ASE may take to be loaded, and then for each file.
  std::chrono::milliseconds time_limit = std::chrono::seconds(120);
  /// How long an interpreter may take to say that it has ASE while a later one is ready.
  std::chrono::milliseconds greeting_limit = std::chrono::seconds(5);
  std::optional<std::vector<std::string>> interpreters{};  // instead of ase_interpreters()
  std::string script = ASE_WORKER_SCRIPT;
};

/// Owns the worker: it is started for the first file, reused for those that follow, and ended with
/// the session. A worker that ends, takes too long or gives a senseless answer costs the file that
/// it was reading: a failed read, with what happened as its message. The next file gets a new
/// worker. Where ASE cannot be loaded, each file tries again. A session serves one thread at a
/// time; sessions share nothing.
class AseSession {
 public:
  explicit AseSession(AseSessionOptions options = {});

  /// Asks ASE for the file at `path`; a relative path starts at the current folder.
  AseAnswer read(const std::string& path);

  /// After an answer `unavailable`: what became of each interpreter, for example "/usr/bin/python3
  /// cannot be started: Too many open files". Empty after any other answer.
  const std::string& why_unavailable() const { return why_unavailable_; }

  /// The process id of the worker that waits for the next file, if there is one.
  std::optional<pid_t> worker_id() const;

 private:
  std::unique_ptr<ChildProcess> start_worker();

  AseSessionOptions options_;
  std::unique_ptr<ChildProcess> worker_;
  std::vector<std::string> slow_interpreters_;  // missed a limit; tried last from then on
  std::string why_unavailable_;
};

}  // namespace structure_ingest::internal
