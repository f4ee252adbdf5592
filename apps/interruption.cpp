#include "apps/interruption.hpp"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string_view>

#include "apps/terminal.hpp"

namespace apps {
namespace {

volatile std::sig_atomic_t was_asked = 0;

constexpr std::string_view TOLD =
    "structure-ingest: ending after the present file; once more ends at once\n";

void ask(int /*signal*/) {
  const int error = errno;  // of the call that was interrupted
  was_asked = 1;
  static_cast<void>(!write(STDERR_FILENO, TOLD.data(), TOLD.size()));
  errno = error;
}

}  // namespace

void end_in_order() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = ask;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(signal, &action, nullptr);
  }
}

bool is_interrupted() {
  return was_asked != 0;
}

void warn_interrupted(std::size_t done, std::size_t total, const std::string& what_was_kept) {
  print_error("interrupted: " + std::to_string(done) + " of " + std::to_string(total) +
              " files were read" + what_was_kept);
}

}  // namespace apps
