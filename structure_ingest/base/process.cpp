#include "structure_ingest/base/process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <system_error>

#include "structure_ingest/base/file.hpp"

namespace structure_ingest::internal {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long to wait for a child whose channel is closed: its descriptors close a moment before it
/// ends.
constexpr milliseconds TIME_TO_END{200};

[[noreturn]] void fail(int error) {
  throw std::system_error(error, std::generic_category(), "cannot start a process");
}

void require(int error) {
  if (error != 0) fail(error);
}

/// Duplicates the descriptor to a number above the standard streams, CHANNEL and LIFELINE. When the
/// host has closed a standard stream, a new descriptor gets that number, and whatever the host
/// prints would be sent to the child.
Descriptor with_high_number(Descriptor descriptor) {
  const int number = fcntl(descriptor.number(), F_DUPFD_CLOEXEC, ChildProcess::LIFELINE + 1);
  if (number < 0) fail(errno);
  return Descriptor(number);
}

/// Holds what posix_spawn(3) is given, between its `init` and its `destroy`.
template <typename Type, int (*init)(Type*), int (*destroy)(Type*)>
struct SpawnArgument {
  SpawnArgument() { require(init(&value)); }
  ~SpawnArgument() { destroy(&value); }
  SpawnArgument(const SpawnArgument&) = delete;
  SpawnArgument& operator=(const SpawnArgument&) = delete;

  Type value;
};
using FileActions = SpawnArgument<posix_spawn_file_actions_t, posix_spawn_file_actions_init,
                                  posix_spawn_file_actions_destroy>;
using Attributes = SpawnArgument<posix_spawnattr_t, posix_spawnattr_init, posix_spawnattr_destroy>;

/// Sets the descriptors and the working folder of the child.
void set_files(posix_spawn_file_actions_t* actions, const Descriptor& channel,
               const Descriptor& lifeline) {
  require(posix_spawn_file_actions_addopen(actions, STDIN_FILENO, "/dev/null", O_RDWR, 0));
  require(posix_spawn_file_actions_adddup2(actions, STDIN_FILENO, STDOUT_FILENO));
  require(posix_spawn_file_actions_adddup2(actions, STDIN_FILENO, STDERR_FILENO));
  require(posix_spawn_file_actions_adddup2(actions, channel.number(), ChildProcess::CHANNEL));
  require(posix_spawn_file_actions_adddup2(actions, lifeline.number(), ChildProcess::LIFELINE));
  // The host may have opened files without the close-on-exec flag.
  require(posix_spawn_file_actions_addclosefrom_np(actions, ChildProcess::LIFELINE + 1));
  require(posix_spawn_file_actions_addchdir_np(actions, "/"));
}

/// Gives the child its own session, so that it gets no signals from the terminal, and resets the
/// signals that the host ignores or blocks, which it would otherwise inherit.
void set_session_and_signals(posix_spawnattr_t* attributes) {
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(attributes, &signals);
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(attributes, &signals);
  posix_spawnattr_setflags(attributes,
                           POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

/// Waits until `channel` is ready for `events` or hangs up; false when the deadline passes first.
bool wait_for(int channel, short events, Deadline deadline) {
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
    if (left <= 0) return false;
    constexpr milliseconds::rep most = std::numeric_limits<int>::max();
    pollfd waited{.fd = channel, .events = events, .revents = 0};
    const int ready = poll(&waited, 1, static_cast<int>(std::min(left, most)));
    if (ready > 0 || (ready < 0 && errno != EINTR)) return true;
  }
}

bool would_block(int error) {
  return error == EAGAIN || error == EWOULDBLOCK;
}

/// Sends as many bytes as the socket accepts without waiting.
ssize_t send_some(int channel, std::string_view bytes, int attached) {
  iovec piece{.iov_base = const_cast<char*>(bytes.data()), .iov_len = bytes.size()};
  msghdr message{};
  message.msg_iov = &piece;
  message.msg_iovlen = 1;
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof attached)> control{};
  if (attached >= 0) {
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof attached);
    std::memcpy(CMSG_DATA(header), &attached, sizeof attached);
  }
  return retried([&] { return sendmsg(channel, &message, MSG_NOSIGNAL | MSG_DONTWAIT); });
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) fail(errno);
  Descriptor other_end(ends[1]);
  channel_ = with_high_number(Descriptor(ends[0]));
  const Descriptor child_channel = with_high_number(std::move(other_end));
  if (pipe2(ends.data(), O_CLOEXEC) != 0) fail(errno);
  other_end = Descriptor(ends[1]);
  const Descriptor child_lifeline = with_high_number(Descriptor(ends[0]));
  lifeline_ = with_high_number(std::move(other_end));

  std::vector<char*> texts;
  texts.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) texts.push_back(const_cast<char*>(argument.data()));
  texts.push_back(nullptr);
  FileActions actions;
  set_files(&actions.value, child_channel, child_lifeline);
  Attributes attributes;
  set_session_and_signals(&attributes.value);
  require(posix_spawn(&id_, texts[0], &actions.value, &attributes.value, texts.data(), environ));
}

ChildProcess::~ChildProcess() {
  if (!is_ours()) return;  // check before each signal
  kill(-id_, SIGKILL);
  retried([&] { return waitpid(id_, nullptr, 0); });
}

bool ChildProcess::is_ours() const {
  siginfo_t ignored{};
  return id_ >= 0 &&
         retried([&] {
           return waitid(P_PID, static_cast<id_t>(id_), &ignored, WEXITED | WNOHANG | WNOWAIT);
         }) == 0;
}

ChildProcess::Transfer ChildProcess::send(std::string_view bytes, int attached, Deadline deadline) {
  while (!bytes.empty()) {
    const ssize_t count = send_some(channel(), bytes, attached);
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
      attached = -1;
    } else if (!would_block(errno)) {
      return Transfer::closed;
    } else if (!wait_for(channel(), POLLOUT, deadline)) {
      return Transfer::late;
    }
  }
  return Transfer::done;
}

ChildProcess::Transfer ChildProcess::receive(std::string& bytes, std::size_t size,
                                             Deadline deadline) {
  for (;;) {
    const Transfer transfer = receive_present(bytes, size);
    if (transfer != Transfer::late) return transfer;
    if (!wait_for(channel(), POLLIN, deadline)) return Transfer::late;
  }
}

ChildProcess::Transfer ChildProcess::receive_present(std::string& bytes, std::size_t size) {
  std::array<char, 1 << 16> piece{};
  while (bytes.size() < size) {
    const std::size_t wanted = std::min(size - bytes.size(), piece.size());
    const ssize_t count =
        retried([&] { return recv(channel(), piece.data(), wanted, MSG_DONTWAIT); });
    if (count < 0 && would_block(errno)) return Transfer::late;
    if (count <= 0) return Transfer::closed;
    bytes.append(piece.data(), static_cast<std::size_t>(count));
  }
  return Transfer::done;
}

std::string ChildProcess::end() {
  const Deadline deadline = steady_clock::now() + TIME_TO_END;
  do {
    int status = 0;
    const pid_t ended = retried([&] { return waitpid(id_, &status, WNOHANG); });
    if (ended != 0) id_ = -1;
    if (ended > 0 && WIFSIGNALED(status)) {
      return "was ended by signal " + std::to_string(WTERMSIG(status));
    }
    if (ended > 0) return "ended with status " + std::to_string(WEXITSTATUS(status));
    if (ended < 0) break;
    poll(nullptr, 0, 1);
  } while (steady_clock::now() < deadline);
  return "closed its channel";
}

}  // namespace structure_ingest::internal
