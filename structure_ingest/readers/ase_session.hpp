// Runs ASE in child processes: a few workers read the CIF and VASP files of a batch.
//
// There is no thread. All that happens, happens within a call: read(), expect() or keep_busy() run
// advance(), which does whatever needs no waiting, always in this order: listen to the workers,
// start the first worker or go on starting it, start more, and ask every idle worker for a file.
// Listening comes first because it frees the workers that are asked, and drops those that ended.
// Only read() waits, with one poll(2) on everything that may send something, and for its own file.
// Between two calls nobody listens: a worker that has finished then waits, and time limits do not
// run, or a caller who is busy with something else would make good files fail.
// The owner's process id is compared on each call: a fork has the same sockets, and would take
// answers away from the owner.
#pragma once

#include <sys/types.h>

#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "structure_ingest/base/process.hpp"
#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/readers/ase_start.hpp"

namespace structure_ingest::internal {

/// Owns the workers: starts the first one for the first file, reuses it for later files, and ends
/// it with the session. When a worker ends, takes too long or gives a malformed answer, only the
/// file it was reading fails, with the reason as its message; the next file gets a new worker, of
/// the interpreter that had ASE before. When ASE cannot be loaded, each file tries again. Use a
/// session on one thread at a time; sessions share nothing, and start no thread.
class AseSession {
 public:
  explicit AseSession(AseSessionOptions options = {});
  AseSession(const AseSession&) = delete;
  AseSession& operator=(const AseSession&) = delete;

  /// Asks ASE for the file at `path`, relative to the current folder unless it is absolute.
  AseAnswer read(const std::string& path);

  /// Announces the files that will be asked for next, in this order, in place of those announced
  /// before. Workers read a few of them ahead.
  void expect(std::vector<std::string> paths);

  /// Announces one more file after those.
  void expect_also(std::string path);

  /// Gives the workers the next announced files, without waiting.
  void keep_busy();

  /// After an answer `unavailable`, what happened to each interpreter, for example
  /// "/usr/bin/python3 cannot be started: Too many open files". Empty after any other answer.
  const std::string& why_unavailable() const { return why_unavailable_; }

  /// The interpreters that are tried, in their order.
  std::vector<std::string> interpreters_in_order() const;

  /// The process id of a worker that waits for the next file, if there is one.
  std::optional<pid_t> worker_id() const;

 private:
  using Transfer = ChildProcess::Transfer;

  /// A file that is wanted now or later.
  struct Job {
    std::string path;
    bool asked = false;
    std::optional<AseAnswer> answer{};
    bool was_left = false;  // by a worker that ended before it saw the request
  };
  /// A worker, the file that it reads, and what it has sent of the answer.
  struct Reader {
    StartingWorker worker;
    Deadline deadline;   // for loading ASE, then for the answer
    bool is_new = true;  // until it is first asked
    std::shared_ptr<Job> job{};
    std::string size{};
    std::string answer{};
    std::string interpreter{};
    std::string environment{};  // as NameEnvironment calls it
  };

  std::shared_ptr<Job> move_to_front(const std::string& path);
  std::shared_ptr<Job> next_job() const;
  void start_more(const std::string& interpreter);
  void leave_to_owner();
  void advance();
  void wait(Deadline until);
  void drop_unwanted();
  bool listen(Reader& reader);
  static void leave(Job& job);
  AseAnswer transfer_failure(Transfer transfer, ChildProcess& process) const;
  AseAnswer late_answer() const;
  void name_environment(Reader& reader, AseAnswer& answer) const;
  bool ask(Reader& reader, const std::shared_ptr<Job>& job);

  AseSessionOptions options_;
  pid_t owner_;  // this process, if it is no fork of the owner
  std::deque<std::shared_ptr<Job>> jobs_;
  std::optional<AseStart> start_;  // while there is no worker
  std::vector<Reader> readers_;
  bool may_start_more_ = true;
  int useless_workers_ = 0;                  // that could not be asked even once, in a row
  Deadline last_listened_{};                 // when the workers were last listened to
  std::string latest_interpreter_;           // of the latest worker: now tried first
  std::set<std::string> slow_interpreters_;  // missed a limit once: now tried last
  std::string why_unavailable_;
};

}  // namespace structure_ingest::internal
