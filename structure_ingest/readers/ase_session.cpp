#include "structure_ingest/readers/ase_session.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"

namespace structure_ingest::internal {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Start one more worker for so many waiting files: loading ASE takes as long as reading four
/// files.
constexpr std::size_t FILES_FOR_A_WORKER = 4;

constexpr const char* SENSELESS_ANSWER = "the process that runs ASE gave an answer without sense";

AseAnswer read_failure(std::string message) {
  return {.failure = AseAnswer::Failure::read, .message = std::move(message)};
}

/// Opens the current folder, even when it was deleted or cannot be reached by name.
Descriptor current_folder() {
  return Descriptor(retried([] { return open(".", O_PATH | O_DIRECTORY | O_CLOEXEC); }));
}

}  // namespace

AseSession::AseSession(AseSessionOptions options)
    : options_(std::move(options)), owner_(getpid()) {}

AseAnswer AseSession::read(const std::string& path) {
  why_unavailable_.clear();
  if (!is_absolute(path) && current_folder().number() < 0) {
    return read_failure("the current folder cannot be opened");
  }
  const Deadline until = steady_clock::now() + options_.time_limit;
  const std::shared_ptr<Job> job = move_to_front(path);
  for (advance(); !job->answer; advance()) {
    if (start_ && start_->ended()) {
      why_unavailable_ = start_->problems();
      start_.reset();
      jobs_.pop_front();
      return {.failure = AseAnswer::Failure::unavailable};
    }
    // A start has the same limit, and then tells better what is wrong.
    if (!start_ && steady_clock::now() >= until) {
      jobs_.pop_front();
      drop_unwanted();
      return late_answer();
    }
    wait(until);
  }
  jobs_.pop_front();
  return *std::move(job->answer);
}

void AseSession::expect(std::vector<std::string> paths) {
  jobs_.clear();
  for (std::string& path : paths) {
    jobs_.push_back(std::make_shared<Job>(Job{.path = std::move(path)}));
  }
  drop_unwanted();
  may_start_more_ = true;
  keep_busy();
}

void AseSession::expect_also(std::string path) {
  jobs_.push_back(std::make_shared<Job>(Job{.path = std::move(path)}));
  keep_busy();
}

void AseSession::keep_busy() {
  if (!jobs_.empty()) advance();
}

std::optional<pid_t> AseSession::worker_id() const {
  for (const Reader& reader : readers_) {
    if (reader.worker.ready() && !reader.job) return reader.worker.process->id();
  }
  return std::nullopt;
}

/// Makes the job of `path` the first one: an announced one, whose predecessors were not asked for,
/// or else a new one.
std::shared_ptr<AseSession::Job> AseSession::move_to_front(const std::string& path) {
  const auto known =
      std::find_if(jobs_.begin(), jobs_.end(), [&](const auto& job) { return job->path == path; });
  if (known == jobs_.end()) {
    jobs_.push_front(std::make_shared<Job>(Job{.path = path}));
  } else {
    jobs_.erase(jobs_.begin(), known);
    drop_unwanted();
  }
  return jobs_.front();
}

/// The first job to ask for. Few answers are kept for later, since they may be large.
std::shared_ptr<AseSession::Job> AseSession::next_job() const {
  const auto ahead = static_cast<std::size_t>(2 * std::max(1, options_.processes) + 1);
  for (std::size_t i = 0; i < std::min(ahead, jobs_.size()); ++i) {
    if (!jobs_[i]->asked) return jobs_[i];
  }
  return nullptr;
}

std::vector<std::string> AseSession::interpreters_in_order() const {
  std::vector<std::string> interpreters;
  for (const auto& list : {options_.first_interpreters,
                           options_.interpreters ? *options_.interpreters : ase_interpreters()}) {
    for (const std::string& each : list) {
      const bool is_new =
          std::find(interpreters.begin(), interpreters.end(), each) == interpreters.end();
      if (is_absolute(each) && is_new) interpreters.push_back(each);
    }
  }
  const auto rank = [&](const std::string& each) {
    return each == latest_interpreter_ ? 0 : slow_interpreters_.contains(each) ? 2 : 1;
  };
  std::stable_sort(interpreters.begin(), interpreters.end(),
                   [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
  return interpreters;
}

/// Starts more workers, as the waiting files are worth it. One that fails to start matters to no
/// file.
void AseSession::start_more(const std::string& interpreter) {
  const auto waiting = static_cast<std::size_t>(std::count_if(
      jobs_.begin(), jobs_.end(), [](const auto& job) { return !job->answer.has_value(); }));
  const std::size_t wanted = std::min(static_cast<std::size_t>(std::max(1, options_.processes)),
                                      1 + waiting / FILES_FOR_A_WORKER);
  while (may_start_more_ && readers_.size() + (start_ ? 1 : 0) < wanted) {
    try {
      readers_.push_back({.worker = {.process = start_ase_worker(interpreter, options_.script)},
                          .deadline = steady_clock::now() + options_.time_limit,
                          .interpreter = interpreter});
    } catch (const std::system_error&) {
      may_start_more_ = false;
    }
  }
}

/// In a fork of the owner the workers are the owner's, whose answers must not be taken away.
void AseSession::leave_to_owner() {
  if (owner_ == getpid()) return;
  owner_ = getpid();
  start_.reset();
  readers_.clear();
  for (const auto& job : jobs_) job->asked = job->answer.has_value();
}

/// Does all that can be done without waiting.
void AseSession::advance() {
  leave_to_owner();
  // A limit is on the time in which somebody listens: the caller may have been busy.
  const auto unheard = steady_clock::now() - last_listened_;
  for (Reader& reader : readers_) reader.deadline += unheard;
  std::erase_if(readers_, [&](Reader& reader) { return !listen(reader); });

  if (!start_ && readers_.empty() && next_job()) {
    start_.emplace(options_, interpreters_in_order(), latest_interpreter_, slow_interpreters_);
  }
  if (start_) {
    start_->advance();
    const std::string interpreter = start_->interpreter();
    if (!interpreter.empty()) start_more(interpreter);
    if (auto worker = start_->ended() ? start_->take_worker() : std::nullopt) {
      latest_interpreter_ = interpreter;
      readers_.push_back(
          {.worker = *std::move(worker), .deadline = {}, .interpreter = interpreter});
      start_.reset();
    }
  } else if (!readers_.empty()) {
    start_more(latest_interpreter_);
  }
  std::erase_if(readers_, [&](Reader& reader) {
    const std::shared_ptr<Job> job = next_job();
    return job && !reader.job && reader.worker.ready() && !ask(reader, job);
  });
  last_listened_ = steady_clock::now();
}

/// Waits for something to do, at most until that time.
void AseSession::wait(Deadline until) {
  std::vector<pollfd> channels;
  if (start_) {
    start_->add_channels(channels);
    until = std::min(until, start_->next_event());
  }
  for (const Reader& reader : readers_) {
    if (reader.worker.ready() && !reader.job) continue;
    channels.push_back({.fd = reader.worker.process->channel(), .events = POLLIN, .revents = 0});
    until = std::min(until, reader.deadline);
  }
  if (channels.empty()) return;
  const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now()).count();
  constexpr milliseconds::rep most = std::numeric_limits<int>::max();
  poll(channels.data(), channels.size(),
       static_cast<int>(std::clamp(left, milliseconds::rep{0}, most)));
  last_listened_ = steady_clock::now();
}

/// Ends the workers that read a file which is not wanted any more.
void AseSession::drop_unwanted() {
  std::erase_if(readers_, [&](const Reader& reader) {
    return reader.job && std::find(jobs_.begin(), jobs_.end(), reader.job) == jobs_.end();
  });
}

/// Has another worker asked.
void AseSession::leave(Job& job) {
  job.asked = false;
  job.was_left = true;  // once: a worker that was just started has no reason
}

/// Takes what the worker has sent; false when it is of no more use.
bool AseSession::listen(Reader& reader) {
  const bool is_late = steady_clock::now() >= reader.deadline;
  ChildProcess& process = *reader.worker.process;
  if (!reader.worker.ready()) {
    may_start_more_ = !reader.worker.listen() && (reader.worker.ready() || !is_late);
    return may_start_more_;
  }
  if (!reader.job) return true;
  std::optional<AseAnswer>& answer = reader.job->answer;
  try {
    Transfer transfer = process.receive_present(reader.size, ASE_SIZE_BYTES);
    if (transfer == Transfer::done) {
      if (reader.size == ASE_LEFT && !reader.job->was_left) {
        leave(*reader.job);
        return false;
      }
      if (ase_size(reader.size) > MAX_ASE_ANSWER) {
        answer = read_failure(SENSELESS_ANSWER);
        return false;
      }
      transfer = process.receive_present(reader.answer, ase_size(reader.size));
    }
    if (transfer == Transfer::late && !is_late) return true;
    if (transfer != Transfer::done) {
      answer = transfer_failure(transfer, process);
      return false;
    }
    answer = ase_answer(reader.answer);
    if (!answer) {
      answer = read_failure(SENSELESS_ANSWER);
      return false;
    }
    name_environment(reader, *answer);
  } catch (const std::bad_alloc&) {
    answer = read_failure("not enough memory for what ASE read");
    return false;
  }
  reader.job.reset();
  reader.size.clear();
  reader.answer = {};
  return true;
}

/// Has the environment of a worker named when it first answers, and says what answers come from it.
void AseSession::name_environment(Reader& reader, AseAnswer& answer) const {
  if (!options_.name_environment) return;
  if (!answer.files.empty()) {
    reader.environment =
        options_.name_environment(reader.interpreter, true, answer.files, reader.worker.started)
            .value_or("");
    reader.answer.resize(reader.answer.size() - answer.files.size() - 1 - ASE_SIZE_BYTES);
    answer.files.clear();
  }
  if (reader.environment.empty()) return;
  answer.environment = reader.environment;
  answer.received = std::move(reader.answer);
}

/// The answer on a file whose worker did not take the request or give the whole answer.
AseAnswer AseSession::transfer_failure(Transfer transfer, ChildProcess& process) const {
  return transfer == Transfer::late ? late_answer()
                                    : read_failure("the process that runs ASE " + process.end());
}

AseAnswer AseSession::late_answer() const {
  return read_failure("no answer within " + seconds_text(options_.time_limit) + " seconds");
}

/// Asks for one file; false when the worker is of no more use.
bool AseSession::ask(Reader& reader, const std::shared_ptr<Job>& job) {
  ChildProcess& process = *reader.worker.process;
  std::string unasked;  // a worker that waits is alive and has sent nothing
  const Transfer unasked_transfer = process.receive_present(unasked, 1);
  if (unasked_transfer != Transfer::late) {
    // Start no workers for ever that are of no use from their beginning: the file fails.
    if (reader.is_new && ++useless_workers_ > options_.processes) {
      useless_workers_ = 0;
      job->asked = true;
      job->answer = unasked_transfer == Transfer::closed
                        ? transfer_failure(unasked_transfer, process)
                        : read_failure(SENSELESS_ANSWER);
    }
    return false;
  }
  useless_workers_ = 0;
  reader.is_new = false;
  job->asked = true;
  reader.job = job;
  reader.deadline = steady_clock::now() + options_.time_limit;
  const Transfer transfer =
      process.send(ase_request(job->path), current_folder().number(), reader.deadline);
  if (transfer == Transfer::done) return true;
  // It may have left just now.
  const Transfer last = process.receive_present(reader.size, ASE_SIZE_BYTES);
  if (last == Transfer::done && reader.size == ASE_LEFT && !job->was_left) {
    leave(*job);
  } else {
    job->answer = transfer_failure(transfer, process);
  }
  return false;
}

}  // namespace structure_ingest::internal
