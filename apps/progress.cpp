#include "apps/progress.hpp"

#include <unistd.h>

#include <cmath>
#include <csignal>
#include <iostream>
#include <string_view>
#include <utility>

#include "apps/terminal.hpp"

namespace apps {
namespace {

constexpr std::chrono::milliseconds DELAY(500);
constexpr std::chrono::milliseconds INTERVAL(50);
constexpr std::string_view ERASE = "\r\x1b[K";

volatile std::sig_atomic_t line_is_shown = 0;

/// Removes the line before a signal ends the program: the shell's prompt is to have it.
void erase_line(int signal) {
  if (line_is_shown != 0) static_cast<void>(!write(STDERR_FILENO, ERASE.data(), ERASE.size()));
  static_cast<void>(raise(signal));  // the handler was for one time only
}

void erase_line_at_the_end() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler != SIG_DFL) continue;
    struct sigaction action {};
    action.sa_handler = erase_line;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(signal, &action, nullptr);
  }
}

std::string duration(double seconds) {
  constexpr double MINUTE = 60;
  constexpr double HOUR = 3600;
  const auto [unit, name] = seconds < 2 * MINUTE ? std::pair(1.0, " s")
                            : seconds < 2 * HOUR ? std::pair(MINUTE, " min")
                                                 : std::pair(HOUR, " h");
  return std::to_string(std::llround(std::ceil(seconds / unit))) + name;
}

/// The end of a printable text that fits into `width` columns, with dots where the rest was.
std::string fitted_end(std::string_view text, std::size_t width) {
  if (columns_of(text) <= width) return std::string(text);
  constexpr std::string_view DOTS = "...";
  if (width <= DOTS.size()) return {};
  while (columns_of(text) + DOTS.size() > width) {
    text.remove_prefix(1);  // with the other bytes of the character
    while (!text.empty() && (static_cast<unsigned char>(text[0]) & 0xC0U) == 0x80U) {
      text.remove_prefix(1);
    }
  }
  return std::string(DOTS) + std::string(text);
}

}  // namespace

Progress::Progress() : on_terminal_(isatty(STDERR_FILENO) != 0 && has_capable_terminal()) {
  if (on_terminal_) erase_line_at_the_end();
}

Progress::~Progress() {
  clear();
}

void Progress::operator()(std::size_t done, std::size_t total, const std::string& path) {
  if (!on_terminal_) return;
  const Clock::time_point now = Clock::now();
  if (now - start_ < DELAY || (line_is_shown != 0 && now - shown_at_ < INTERVAL)) return;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  // The last column stays free: some terminals go to the next line after it.
  std::cerr << ERASE << progress_line(done, total, path, seconds, terminal_width(STDERR_FILENO) - 1)
            << std::flush;
  line_is_shown = 1;
  shown_at_ = now;
}

void Progress::clear() {
  if (line_is_shown != 0) std::cerr << ERASE << std::flush;
  line_is_shown = 0;
}

std::string progress_line(std::size_t done, std::size_t total, const std::string& path,
                          double seconds, std::size_t width) {
  std::string line = std::to_string(done) + "/" + std::to_string(total);
  if (done > 0) {
    const double left = seconds / static_cast<double>(done) * static_cast<double>(total - done);
    line += ", about " + duration(left) + " left";
  }
  line += ": ";
  if (line.size() > width) return line.substr(0, width);
  return line + fitted_end(printable(path), width - line.size());
}

}  // namespace apps
