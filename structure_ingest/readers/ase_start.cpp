#include "structure_ingest/readers/ase_start.hpp"

#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <system_error>
#include <utility>

#include "structure_ingest/base/input_file.hpp"
#include "structure_ingest/readers/ase_protocol.hpp"

namespace structure_ingest::internal {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// An interpreter takes some 20 ms to say that it has ASE, and 200 ms to load it.
constexpr milliseconds HEAD_START{40};

/// A wrapper script that looks for an interpreter takes longer than that in any case.
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
struct Starting {
  std::size_t place;  // of its interpreter
  std::unique_ptr<ChildProcess> process;
  std::string heard{};

  /// Takes in what it has said; false when it has hung up or said something else.
  bool listen() {
    const std::string whole = std::string(ASE_FOUND) + std::string(ASE_READY);
    return process->receive_present(heard, whole.size()) != ChildProcess::Transfer::closed &&
           whole.starts_with(heard);
  }
  bool found() const { return heard.size() >= ASE_FOUND.size(); }
  bool ready() const { return heard.size() == ASE_FOUND.size() + ASE_READY.size(); }
};

std::unique_ptr<ChildProcess> start(const std::string& interpreter, const std::string& script) {
  try {
    // UTF-8 whatever the locale: what a file holds must not depend on the environment.
    return std::make_unique<ChildProcess>(
        std::vector<std::string>{interpreter, "-I", "-X", "utf8", "-c", script});
  } catch (const std::system_error&) {
    return nullptr;  // it is as good as one without ASE
  }
}

/// Waits until one of the workers has something to say.
void wait_for_any(const std::vector<Starting>& workers, Deadline deadline) {
  std::vector<pollfd> waited;
  waited.reserve(workers.size());
  for (const Starting& worker : workers) {
    waited.push_back({.fd = worker.process->channel(), .events = POLLIN, .revents = 0});
  }
  const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
  constexpr milliseconds::rep most = std::numeric_limits<int>::max();
  poll(waited.data(), waited.size(),
       static_cast<int>(std::clamp(left, milliseconds::rep{0}, most)));
}

}  // namespace

std::unique_ptr<ChildProcess> start_ase_worker(const std::vector<std::string>& interpreters,
                                               const std::string& script, Deadline deadline) {
  std::vector<Starting> workers;  // in the order of the interpreters
  std::size_t next = 0;
  Deadline head_start_end;
  while (steady_clock::now() < deadline) {
    std::erase_if(workers, [](Starting& worker) { return !worker.listen(); });
    if (!workers.empty() && workers.front().ready()) return std::move(workers.front().process);

    // Behind one that has ASE the others are not needed, unless it turns out not to load.
    const auto found = std::find_if(workers.begin(), workers.end(), std::mem_fn(&Starting::found));
    if (found != workers.end()) {
      next = found->place + 1;
      workers.erase(found + 1, workers.end());
    }
    const bool last_has_ase = found != workers.end();
    const bool may_start = next < interpreters.size() && !last_has_ase;
    if (may_start && (workers.empty() || steady_clock::now() >= head_start_end)) {
      if (auto process = start(interpreters[next], script)) {
        workers.push_back({.place = next, .process = std::move(process)});
      }
      head_start_end = steady_clock::now() + head_start(interpreters[next]);
      ++next;
    } else if (workers.empty()) {
      return nullptr;
    } else {
      wait_for_any(workers, may_start ? std::min(deadline, head_start_end) : deadline);
    }
  }
  // One that never said anything does not stand in the way of a later one.
  const auto ready = std::find_if(workers.begin(), workers.end(), std::mem_fn(&Starting::ready));
  return ready != workers.end() ? std::move(ready->process) : nullptr;
}

}  // namespace structure_ingest::internal
