// The program structure-ingest: reads its arguments, runs one subcommand, and tells how it went.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <iostream>
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
       apps::forget_command(), apps::extract_command(), apps::picture_command(),
       apps::report_command(), apps::serve_command()}));
}

}  // namespace

int main(int argc, char** argv) {
  occupy_standard_streams();
  // An output file beyond the size limit is an error to be told of, not the end of the process.
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return run(argc, argv);
  } catch (const apps::WrongInput& error) {
    apps::print_error(error.what());
    return apps::WRONG_USAGE;
  } catch (const std::system_error& error) {
    apps::print_error(error.what());
    return apps::CANNOT_WRITE;
  } catch (const std::exception& error) {
    apps::print_error(error.what());
    return apps::WRONG_USAGE;
  }
}
