// A child process that is talked to on a channel of its own, and that ends with its owner.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/descriptor.hpp"

namespace structure_ingest::internal {

using Deadline = std::chrono::steady_clock::time_point;

/// The child starts in the folder "/", in a session of its own without a terminal, with the null
/// device as its standard streams, every signal at its default, and two descriptors more: the
/// channel (a stream socket) and the lifeline (a pipe that is never written to). Both hang up when
/// the owner ends, however it ends; the child is to take that as its own end. Nothing is changed in
/// the process that starts it.
class ChildProcess {
 public:
  static constexpr int CHANNEL = 3;
  static constexpr int LIFELINE = 4;

  /// Starts the program at the path `arguments[0]`; throws std::system_error when it cannot.
  explicit ChildProcess(const std::vector<std::string>& arguments);
  /// Ends the child, with the processes of its group, and waits for it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  int channel() const { return channel_.number(); }
  pid_t id() const { return id_; }

  enum class Transfer { done, closed, late };

  /// Sends bytes, with a descriptor attached to the first unless it is -1.
  Transfer send(std::string_view bytes, int attached, Deadline deadline);

  /// Appends bytes to `bytes` until there are `size`. Memory grows only with what arrives.
  Transfer receive(std::string& bytes, std::size_t size, Deadline deadline);

  /// The same of the bytes that are there already: `late` says that fewer are.
  Transfer receive_present(std::string& bytes, std::size_t size);

  /// Ends a child that closed its channel, and says how it ended: "was ended by signal 9", "ended
  /// with status 1" or, if it did neither by itself, "closed its channel".
  std::string end();

 private:
  pid_t id_ = -1;
  Descriptor channel_;
  Descriptor lifeline_;
};

}  // namespace structure_ingest::internal
