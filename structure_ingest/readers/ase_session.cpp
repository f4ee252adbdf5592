#include "structure_ingest/readers/ase_session.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

#include "structure_ingest/base/input_file.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/system_call.hpp"
#include "structure_ingest/readers/ase_protocol.hpp"

namespace structure_ingest::internal {
namespace {

using Transfer = ChildProcess::Transfer;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::string seconds_text(milliseconds time) {
  std::array<char, 32> text{};
  const double seconds = std::chrono::duration<double>(time).count();
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), seconds).ptr};
}

// Starting a worker. Several interpreters may be starting at once: an interpreter without ASE, or a
// slow wrapper script, must not delay the next. Take the first in order that has ASE, so that the
// choice does not depend on which one is faster.

/// Start the next interpreter after this time: it takes some 30 ms to report that ASE is installed,
/// and 200 ms to load it.
constexpr milliseconds HEAD_START{60};

/// Gives a script no head start: a wrapper that searches for an interpreter always takes longer
/// than HEAD_START.
milliseconds head_start(const std::string& interpreter) {
  try {
    std::array<char, 2> beginning{};
    InputFile(interpreter).read(beginning.data(), beginning.size());
    return beginning == std::array{'#', '!'} ? milliseconds(0) : HEAD_START;
  } catch (const std::system_error&) {
    return HEAD_START;
  }
}

/// A worker that has not loaded ASE yet.
struct StartingWorker {
  std::size_t place;  // of its interpreter in the order of trial
  Deadline greeting_end;
  std::unique_ptr<ChildProcess> process;
  std::string heard{};

  bool found_ase() const { return heard.size() >= ASE_FOUND.size(); }
  bool ready() const { return heard.size() == ASE_FOUND.size() + ASE_READY.size(); }

  /// Reads what the worker has sent. Returns the problem when it can no longer become ready.
  std::optional<std::string> listen() {
    const std::string greetings = std::string(ASE_FOUND) + std::string(ASE_READY);
    const Transfer transfer = process->receive_present(heard, greetings.size());
    if (!greetings.starts_with(heard)) return "gave a senseless greeting";
    if (transfer != Transfer::closed) return std::nullopt;
    std::string how = process->end();
    if (found_ase()) return "could not load ASE: it " + how;
    return how == "ended with status 0" ? "does not have ASE" : how;
  }
};

/// Waits until one of the workers has sent something or hung up.
void wait_for_any(const std::vector<StartingWorker>& workers, Deadline deadline) {
  std::vector<pollfd> waited;
  waited.reserve(workers.size());
  for (const StartingWorker& worker : workers) {
    waited.push_back({.fd = worker.process->channel(), .events = POLLIN, .revents = 0});
  }
  const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
  constexpr milliseconds::rep most = std::numeric_limits<int>::max();
  poll(waited.data(), waited.size(),
       static_cast<int>(std::clamp(left, milliseconds::rep{0}, most)));
}

/// Tries to start a worker with each of `interpreters`, in their order; adds the late ones to
/// `slow`. `known` had ASE before, if it is not empty.
class StartAttempt {
 public:
  StartAttempt(const AseSessionOptions& options, std::vector<std::string> interpreters,
               std::string known, std::vector<std::string>& slow)
      : options_(options),
        interpreters_(std::move(interpreters)),
        known_(std::move(known)),
        slow_(slow) {
    problems_.assign(interpreters_.size(), "was not tried");
  }

  /// Returns a worker that has loaded ASE; null when there is none within the time limit.
  std::unique_ptr<ChildProcess> run() {
    const Deadline deadline = steady_clock::now() + options_.time_limit;
    while (steady_clock::now() < deadline) {
      drop_ended();
      drop_silent();
      if (!workers_.empty() && workers_.front().ready()) {
        interpreter_ = interpreters_[workers_.front().place];
        return std::move(workers_.front().process);
      }

      // Once an interpreter has ASE, drop those after it; they are needed only if it fails to load
      // ASE.
      const auto found =
          std::find_if(workers_.begin(), workers_.end(), std::mem_fn(&StartingWorker::found_ase));
      const bool has_ase = found != workers_.end();
      if (has_ase) {
        next_ = found->place + 1;
        workers_.erase(found + 1, workers_.end());
      }
      const bool may_start = !has_ase && next_ < interpreters_.size();
      if (may_start && (workers_.empty() || steady_clock::now() >= head_start_end_)) {
        start_next();
      } else if (workers_.empty()) {
        return nullptr;
      } else {
        wait_for_any(workers_,
                     next_event(may_start ? std::min(deadline, head_start_end_) : deadline));
      }
    }
    for (const StartingWorker& worker : workers_) {
      give_up(worker, "did not load ASE within " + seconds_text(options_.time_limit) + " seconds");
    }
    return nullptr;
  }

  /// The interpreter of the worker, after a success.
  const std::string& interpreter() const { return interpreter_; }

  /// What happened to each interpreter, after a failure.
  std::string problems() const {
    std::string text;
    for (std::size_t place = 0; place < interpreters_.size(); ++place) {
      text += (place == 0 ? "" : "; ") + interpreters_[place] + " " + problems_[place];
    }
    return text.empty() ? "there is no python3" : text;
  }

 private:
  bool is_slow(const std::string& interpreter) const {
    return std::find(slow_.begin(), slow_.end(), interpreter) != slow_.end();
  }

  void give_up(const StartingWorker& worker, const std::string& problem) {
    problems_[worker.place] = problem;
    const std::string& interpreter = interpreters_[worker.place];
    if (!is_slow(interpreter)) slow_.push_back(interpreter);
  }

  void drop_ended() {
    std::erase_if(workers_, [&](StartingWorker& worker) {
      const std::optional<std::string> problem = worker.listen();
      if (problem) problems_[worker.place] = *problem;
      return problem.has_value();
    });
  }

  /// Drops workers whose greeting is late. A worker whose interpreter has never been late is
  /// dropped only when another worker is ready; otherwise only the overall time limit bounds it.
  void drop_silent() {
    const bool has_ready =
        std::any_of(workers_.begin(), workers_.end(), std::mem_fn(&StartingWorker::ready));
    std::erase_if(workers_, [&](const StartingWorker& worker) {
      if (worker.found_ase() || steady_clock::now() < worker.greeting_end) return false;
      if (!has_ready && !is_slow(interpreters_[worker.place])) return false;
      give_up(worker, "said nothing for " + seconds_text(options_.greeting_limit) + " seconds");
      return true;
    });
  }

  void start_next() {
    const std::string& interpreter = interpreters_[next_];
    try {
      // Force UTF-8: how a file is read must not depend on the locale.
      auto process = std::make_unique<ChildProcess>(
          std::vector<std::string>{interpreter, "-I", "-X", "utf8", "-c", options_.script});
      workers_.push_back({.place = next_,
                          .greeting_end = steady_clock::now() + options_.greeting_limit,
                          .process = std::move(process)});
    } catch (const std::system_error& error) {
      problems_[next_] = std::string("cannot be started: ") + strerrordesc_np(error.code().value());
    }
    head_start_end_ = steady_clock::now() +
                      (interpreter == known_ ? options_.greeting_limit : head_start(interpreter));
    ++next_;
  }

  /// The end of the next greeting limit, or `deadline` if that is earlier.
  Deadline next_event(Deadline deadline) const {
    for (const StartingWorker& worker : workers_) {
      if (worker.greeting_end > steady_clock::now()) {
        deadline = std::min(deadline, worker.greeting_end);
      }
    }
    return deadline;
  }

  const AseSessionOptions& options_;
  std::vector<std::string> interpreters_;
  std::string known_;
  std::vector<std::string>& slow_;
  std::vector<StartingWorker> workers_;  // in the order of the interpreters
  std::size_t next_ = 0;                 // the interpreter to start next
  Deadline head_start_end_;
  std::string interpreter_;
  std::vector<std::string> problems_;  // one for each interpreter
};

// Asking a worker.

AseAnswer read_failure(std::string message) {
  return {.failure = AseAnswer::Failure::read, .message = std::move(message)};
}

/// Opens the current folder, even when it was deleted or cannot be reached by name.
Descriptor current_folder() {
  return Descriptor(retried([] { return open(".", O_PATH | O_DIRECTORY | O_CLOEXEC); }));
}

/// Asks for one file and receives the whole answer.
Transfer exchange(ChildProcess& worker, const std::string& path, int folder, Deadline deadline,
                  std::string& answer) {
  if (const Transfer sent = worker.send(ase_request(path), folder, deadline);
      sent != Transfer::done) {
    return sent;
  }
  std::string size;
  if (const Transfer received = worker.receive(size, ASE_SIZE_BYTES, deadline);
      received != Transfer::done) {
    return received;
  }
  return worker.receive(answer, ase_size(size), deadline);
}

/// Whether the worker is alive and has sent nothing, as it must while it waits for a request. In a
/// fork of the owner it is the owner's, whose answers must not be taken away.
bool is_waiting(ChildProcess& worker) {
  std::string unasked;
  return worker.is_ours() && worker.receive_present(unasked, 1) == Transfer::late;
}

}  // namespace

std::vector<std::string> ase_interpreters() {
  std::vector<std::string> interpreters;
  const char* variable = std::getenv("PATH");
  std::string_view folders = variable != nullptr ? variable : "";
  while (!folders.empty() && interpreters.empty()) {
    const std::string_view folder = folders.substr(0, folders.find(':'));
    folders.remove_prefix(std::min(folder.size() + 1, folders.size()));
    if (!is_absolute(folder)) continue;
    std::string file = join_path(folder, "python3");
    if (is_regular_file(file) && access(file.c_str(), X_OK) == 0) {
      interpreters.push_back(std::move(file));
    }
  }
  const std::string configured = STRUCTURE_INGEST_PYTHON;  // set by the build; may be empty
  if (!configured.empty() && (interpreters.empty() || interpreters.front() != configured)) {
    interpreters.push_back(configured);
  }
  return interpreters;
}

AseSession::AseSession(AseSessionOptions options) : options_(std::move(options)) {}

std::vector<std::string> AseSession::interpreters_in_order() const {
  const auto contains = [](const std::vector<std::string>& list, const std::string& text) {
    return std::find(list.begin(), list.end(), text) != list.end();
  };
  std::vector<std::string> interpreters;
  for (const auto& list : {options_.first_interpreters,
                           options_.interpreters ? *options_.interpreters : ase_interpreters()}) {
    for (const std::string& interpreter : list) {
      if (is_absolute(interpreter) && !contains(interpreters, interpreter)) {
        interpreters.push_back(interpreter);
      }
    }
  }
  std::stable_partition(interpreters.begin(), interpreters.end(), [&](const std::string& each) {
    return !contains(slow_interpreters_, each);
  });
  std::stable_partition(interpreters.begin(), interpreters.end(),
                        [&](const std::string& each) { return each == latest_interpreter_; });
  return interpreters;
}

std::unique_ptr<ChildProcess> AseSession::start_worker() {
  StartAttempt start(options_, interpreters_in_order(), latest_interpreter_, slow_interpreters_);
  std::unique_ptr<ChildProcess> worker = start.run();
  if (worker) {
    latest_interpreter_ = start.interpreter();
  } else {
    why_unavailable_ = start.problems();
  }
  return worker;
}

AseAnswer AseSession::read(const std::string& path) {
  why_unavailable_.clear();
  const Descriptor folder = current_folder();
  if (folder.number() < 0 && !is_absolute(path)) {
    return read_failure("the current folder cannot be opened");
  }
  // Destroyed here unless it answers.
  std::unique_ptr<ChildProcess> worker = std::move(worker_);
  if (worker && !is_waiting(*worker)) worker.reset();
  if (!worker) worker = start_worker();
  if (!worker) return {.failure = AseAnswer::Failure::unavailable};
  try {
    std::string bytes;
    switch (exchange(*worker, path, folder.number(), steady_clock::now() + options_.time_limit,
                     bytes)) {
      case Transfer::late:
        return read_failure("no answer within " + seconds_text(options_.time_limit) + " seconds");
      case Transfer::closed:
        return read_failure("the process that runs ASE " + worker->end());
      case Transfer::done:
        break;
    }
    std::optional<AseAnswer> answer = ase_answer(bytes);
    if (!answer) return read_failure("the process that runs ASE gave an answer without sense");
    worker_ = std::move(worker);
    return *std::move(answer);
  } catch (const std::bad_alloc&) {
    return read_failure("not enough memory for what ASE read");
  }
}

std::optional<pid_t> AseSession::worker_id() const {
  return worker_ ? std::optional(worker_->id()) : std::nullopt;
}

}  // namespace structure_ingest::internal
