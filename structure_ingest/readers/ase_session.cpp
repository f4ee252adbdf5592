#include "structure_ingest/readers/ase_session.hpp"

#include <fcntl.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <new>
#include <utility>

#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/system_call.hpp"
#include "structure_ingest/readers/ase_interpreters.hpp"
#include "structure_ingest/readers/ase_protocol.hpp"
#include "structure_ingest/readers/ase_start.hpp"

namespace structure_ingest::internal {
namespace {

using Transfer = ChildProcess::Transfer;
using std::chrono::steady_clock;

AseAnswer read_failure(std::string message) {
  return {.failure = AseAnswer::Failure::read, .message = std::move(message)};
}

std::string in_seconds(std::chrono::milliseconds time) {
  std::array<char, 32> text{};
  const double seconds = std::chrono::duration<double>(time).count();
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), seconds).ptr};
}

/// The current folder, whatever it is called and whoever may reach it by name.
Descriptor current_folder() {
  return Descriptor(retried([] { return open(".", O_PATH | O_DIRECTORY | O_CLOEXEC); }));
}

/// Asks for one file and takes the whole answer.
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

/// A worker that waits for a request has nothing to say.
bool is_waiting(ChildProcess& worker) {
  std::string unasked;
  return worker.receive_present(unasked, 1) == Transfer::late;
}

}  // namespace

AseSession::AseSession(AseSessionOptions options) : options_(std::move(options)) {}

AseAnswer AseSession::read(const std::string& path) {
  const Descriptor folder = current_folder();
  if (folder.number() < 0 && !is_absolute(path)) {
    return read_failure("the current folder cannot be opened");
  }
  // Until it has answered well, the worker is on no one's account but this call's.
  std::unique_ptr<ChildProcess> worker = std::move(worker_);
  if (worker && !is_waiting(*worker)) worker.reset();
  if (!worker) {
    worker = start_ase_worker(options_.interpreters ? *options_.interpreters : ase_interpreters(),
                              options_.script, steady_clock::now() + options_.time_limit);
    if (!worker) return {.failure = AseAnswer::Failure::unavailable};
  }
  try {
    std::string bytes;
    switch (exchange(*worker, path, folder.number(), steady_clock::now() + options_.time_limit,
                     bytes)) {
      case Transfer::late:
        return read_failure("no answer within " + in_seconds(options_.time_limit) + " seconds");
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
