// The program structure-ingest: reads its arguments, runs one subcommand, and tells how it went.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string_view>
#include <system_error>

#include "apps/command_line.hpp"
#include "apps/terminal.hpp"

namespace {

/// Opens the standard streams that are closed on the null device, so that no file or channel gets
/// their numbers. Each is opened for the other direction: to use it stays an error.
void occupy_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    // The lowest free number is the stream's.
    static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
  }
}

/// `status`, unless what was printed cannot be written.
apps::Status flushed(apps::Status status) {
  std::cout.flush();
  if (std::cout) return status;
  apps::print_error("cannot write to standard output");
  return apps::CANNOT_WRITE;
}

int run(int argc, char** argv) {
  return flushed(apps::run_command_line(
      argc, argv,
      {apps::parse_command(), apps::check_command(), apps::ingest_command(),
       apps::hydrate_command(), apps::owner_command(), apps::belongs_command(),
       apps::trust_command(), apps::scan_command(), apps::list_command(), apps::verify_command(),
       apps::forget_command(), apps::prune_command(), apps::extract_command(),
       apps::picture_command(), apps::report_command(), apps::serve_command(),
       apps::cache_command(), apps::doctor_command()}));
}

/// Memory that is kept for the way out when there is no other: destroying a JSON value takes some,
/// and an error there would end the process before files are tidied up. Each shortage gets one
/// part, since a reader makes a warning of the first.
std::array<std::atomic<char*>, 3> reserves{};

/// Keeps parts of what the process may have; without a limit allocations hardly ever fail.
void keep_reserves() {
  rlimit limit{};
  if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return;
  for (std::atomic<char*>& part : reserves) part = new (std::nothrow) char[limit.rlim_cur / 10];
  std::set_new_handler([] {
    for (std::atomic<char*>& part : reserves) {
      if (char* kept = part.exchange(nullptr)) {
        delete[] kept;
        break;
      }
    }
    throw std::bad_alloc();
  });
}

const std::terminate_handler USUAL_END = std::get_terminate();

/// Tells of an error on the way out itself. Allocates nothing.
[[noreturn]] void end_without_memory() {
  try {
    if (std::current_exception()) throw;
  } catch (const std::bad_alloc&) {
    constexpr std::string_view text = "structure-ingest: not enough memory\n";
    static_cast<void>(!write(STDERR_FILENO, text.data(), text.size()));
    _exit(apps::CANNOT_WRITE);
  } catch (...) {  // NOLINT(bugprone-empty-catch): told as usual
  }
  USUAL_END();
  std::abort();
}

}  // namespace

int main(int argc, char** argv) {
  occupy_standard_streams();
  // An output file beyond the size limit is an error to be told of, not the end of the process.
  std::signal(SIGXFSZ, SIG_IGN);
  keep_reserves();
  std::set_terminate(end_without_memory);
  try {
    return run(argc, argv);
  } catch (const apps::WrongInput& error) {
    apps::print_error(error.what());
    return apps::WRONG_USAGE;
  } catch (const std::system_error& error) {
    // What the standard library says of a file begins with that, which tells nobody anything.
    constexpr std::string_view BEGINNING = "filesystem error: ";
    std::string_view text = error.what();
    if (text.starts_with(BEGINNING)) text.remove_prefix(BEGINNING.size());
    apps::print_error(std::string(text));
    return apps::CANNOT_WRITE;
  } catch (const std::bad_alloc&) {
    apps::print_error("not enough memory");
    return apps::CANNOT_WRITE;
  } catch (const std::exception& error) {
    apps::print_error(error.what());
    return apps::WRONG_USAGE;
  }
}
