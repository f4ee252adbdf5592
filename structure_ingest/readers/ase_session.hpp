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

/// How long ASE may take to be loaded, and then for each file.
inline constexpr std::chrono::milliseconds ASE_FILE_TIME_LIMIT = std::chrono::seconds(120);

struct AseSessionOptions {
  std::chrono::milliseconds time_limit = ASE_FILE_TIME_LIMIT;
  std::optional<std::vector<std::string>> interpreters{};  // instead of ase_interpreters()
  std::string script = ASE_WORKER_SCRIPT;
};

/// Owns the worker: it is started for the first file, reused for those that follow, and ended with
/// the session. A worker that ends, takes too long or makes no sense costs the file that it was
/// reading: a failed read, with what happened as its message. The next file gets a new worker.
/// Where ASE cannot be loaded, each file tries again. A session serves one thread at a time;
/// several sessions do not know of each other.
class AseSession {
 public:
  explicit AseSession(AseSessionOptions options = {});

  /// Asks ASE for the file at `path`; a relative path starts at the current folder.
  AseAnswer read(const std::string& path);

  /// The process id of the worker that waits for the next file, if there is one.
  std::optional<pid_t> worker_id() const;

 private:
  AseSessionOptions options_;
  std::unique_ptr<ChildProcess> worker_;
};

}  // namespace structure_ingest::internal
