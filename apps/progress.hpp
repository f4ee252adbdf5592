// How far a long piece of work is, on one line of the terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace apps {

/// Shows the progress on standard error when that is a terminal, and nothing elsewhere. Work that
/// takes less than half a second shows none. The line is removed at the end, also
/// when a signal ends the program. One object at a time.
class Progress {
 public:
  Progress();
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows that `done` of `total` files are done and that `path` is next.
  void operator()(std::size_t done, std::size_t total, const std::string& path);

  /// Removes the line, so that something else can be printed in its place.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;
  bool on_terminal_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point shown_at_{};
};

/// "3/10, about 2 min left: a/long/pa...": the line itself, in at most `width` columns. A path that
/// is too long loses its beginning; `seconds` have passed so far.
std::string progress_line(std::size_t done, std::size_t total, const std::string& path,
                          double seconds, std::size_t width);

}  // namespace apps
