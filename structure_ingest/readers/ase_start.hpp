// Starts a worker: finds a Python that has ASE, and waits until it has loaded it.
#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/process.hpp"

namespace structure_ingest::internal {

/// The Python interpreters that may be able to import ASE: the first `python3` in PATH, then the
/// one configured when the library was built. Relative folders in PATH are ignored: what they name
/// depends on the current folder.
std::vector<std::string> ase_interpreters();

/// The script of the worker that runs ASE: ase_deferral.py and ase_worker.py, of which the latter
/// describes the worker and its protocol. It is compiled in, so that it needs no file at run time
/// and always has the library's version.
std::string ase_worker_script();

/// Whether the file is a script. A wrapper that searches for an interpreter takes long, and may
/// find another one the next time.
bool is_script(const std::string& file);

/// Told once by each worker on which files its answers depend besides the one it reads, as its
/// script describes it, and when it was started. Returns a name for all that, nothing where the
/// answers cannot be used again.
using NameEnvironment = std::function<std::optional<std::string>(
    const std::string& interpreter, bool has_ase, std::string_view files,
    std::chrono::system_clock::time_point started)>;

struct AseSessionOptions {
  /// How long ASE may take to load, and then for each file.
  std::chrono::milliseconds time_limit = std::chrono::seconds(120);
  /// How long an interpreter may take to report that it has ASE while a later one is ready.
  std::chrono::milliseconds greeting_limit = std::chrono::seconds(5);
  /// Tried before the others; a path that is not absolute is ignored.
  std::vector<std::string> first_interpreters{};
  std::optional<std::vector<std::string>> interpreters{};  // instead of ase_interpreters()
  std::string script{};  // instead of ase_worker_script(), which is longer than many a file
  int processes = 1;     // the most workers at once
  NameEnvironment name_environment{};  // may be empty
};

/// "1.5" for 1500 ms.
std::string seconds_text(std::chrono::milliseconds time);

/// Starts the worker's script, or another one, with one interpreter; throws std::system_error when
/// it cannot.
std::unique_ptr<ChildProcess> start_ase_worker(const std::string& interpreter,
                                               const std::string& script);

/// A worker that has not loaded ASE yet.
struct StartingWorker {
  std::unique_ptr<ChildProcess> process;
  std::string heard{};
  std::chrono::system_clock::time_point started = std::chrono::system_clock::now();

  bool found_ase() const;
  bool ready() const;
  /// What a worker without ASE depends on; nothing before it has said so.
  std::optional<std::string_view> files_without_ase() const;

  /// Reads what the worker has sent. Returns the problem when it can no longer become ready.
  std::optional<std::string> listen();
};

/// Tries to start a worker with each of `interpreters`, in their order; adds the late ones to
/// `slow`. `known` had ASE before, if it is not empty. Several interpreters may be starting at
/// once: an interpreter without ASE, or a slow wrapper script, must not delay the next. The first
/// in order that has ASE is taken, so that the choice does not depend on which one is faster.
class AseStart {
 public:
  AseStart(const AseSessionOptions& options, std::vector<std::string> interpreters,
           std::string known, std::set<std::string>& slow);

  /// Does all that can be done without waiting.
  void advance();

  /// What to wait for before the next `advance`: a channel to become readable, or a time.
  void add_channels(std::vector<pollfd>& channels) const;
  Deadline next_event() const;

  /// Whether there is nothing to wait for any more.
  bool ended() const { return ended_; }

  /// The interpreter that will be taken, once it is known to have ASE; empty before.
  std::string interpreter() const;

  /// After the end: a worker that is ready; nothing when there is none within the time limit.
  std::optional<StartingWorker> take_worker();

  /// What happened to each interpreter, after a failure.
  std::string problems() const;

 private:
  struct Trial {
    std::size_t place;  // of its interpreter in the order
    Deadline greeting_end;
    StartingWorker worker;
  };

  void give_up(const Trial& trial, const std::string& problem);
  void drop_ended();
  void drop_silent();
  void start_next();

  const AseSessionOptions& options_;
  std::vector<std::string> interpreters_;
  std::string known_;
  std::set<std::string>& slow_;
  Deadline deadline_;
  std::vector<Trial> trials_;  // in the order of the interpreters
  std::size_t next_ = 0;       // the interpreter to start next
  bool may_start_next_ = true;
  Deadline head_start_end_{};
  bool ended_ = false;
  std::vector<std::string> problems_;  // one for each interpreter
};

}  // namespace structure_ingest::internal
