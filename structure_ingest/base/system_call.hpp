// Repeats system calls that a signal interrupts.
#pragma once

#include <cerrno>

namespace structure_ingest::internal {

/// Repeats a system call while a signal interrupts it.
template <typename Call>
auto retried(Call call) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

}  // namespace structure_ingest::internal
