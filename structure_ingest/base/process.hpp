// A child process with a private channel to its owner. It ends with its owner.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {

using Deadline = std::chrono::steady_clock::time_point;

/// The child starts in the folder "/", in its own session without a terminal, with the null device
/// as its standard streams and every signal at its default. It has two more descriptors: the
/// channel (a stream socket) and the lifeline (a pipe that is never written to). Both hang up when
/// the owner ends for any reason; the child must then end. Starting it changes nothing in the
/// owner.
class ChildProcess {
 public:
  static constexpr int CHANNEL = 3;
  static constexpr int LIFELINE = 4;

  /// Starts the program at the path `arguments[0]`; throws std::system_error when it cannot.
  explicit ChildProcess(const std::vector<std::string>& arguments);
  /// Kills the child and its process group, and waits for it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Whether the child is still one of this process: false in a fork of the owner, and after the
  /// host has waited for it. Then its number may belong to another process.
  bool is_ours() const;

  int channel() const { return channel_.number(); }
  pid_t id() const { return id_; }

  enum class Transfer { done, closed, late };

  /// Sends all bytes. Unless `attached` is -1, the descriptor goes with the first of them.
  Transfer send(std::string_view bytes, int attached, Deadline deadline);

  /// Appends bytes to `bytes` until there are `size`. Memory grows only with what arrives.
  Transfer receive(std::string& bytes, std::size_t size, Deadline deadline);

  /// As `receive`, without waiting: `late` means that fewer bytes have arrived.
  Transfer receive_present(std::string& bytes, std::size_t size);

  /// Waits a moment for a child that closed its channel, and says how it ended: "was ended by
  /// signal 9", "ended with status 1", or "closed its channel" when it has not ended by itself.
  std::string end();

 private:
  pid_t id_ = -1;
  Descriptor channel_;
  Descriptor lifeline_;
};

}  // namespace structure_ingest::internal
