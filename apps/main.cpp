// The program structure-ingest: reads its arguments, runs one subcommand, and tells how it went.
#include <fcntl.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
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

/// The arguments, last one first as the option parser takes them. It would read a path in square
/// brackets as a list of several; the same path with "./" in front it leaves alone.
std::vector<std::string> reversed_arguments(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int i = argc - 1; i > 0; --i) {
    const std::string_view argument = argv[i];
    const bool in_brackets = argument.starts_with('[') && argument.ends_with(']');
    arguments.push_back((in_brackets ? "./" : "") + std::string(argument));
  }
  return arguments;
}

/// `status`, unless what was printed cannot be written.
apps::Status flushed(apps::Status status) {
  std::cout.flush();
  if (std::cout) return status;
  apps::print_error("cannot write to standard output");
  return apps::CANNOT_WRITE;
}

int run(int argc, char** argv) {
  CLI::App program("Takes the atomic-structure files that a user supplies into a project.",
                   "structure-ingest");
  apps::set_help_format(program);
  program.footer(
      "Exit status: 0 all well, 1 some file could not be parsed, a check found an error\n"
      "or something is not as it was, 2 wrong usage or an unusable state, 3 something\n"
      "could not be written.");
  program.set_help_flag("-h,--help", "Print this help and exit");
  program.require_subcommand(1, 1);
  const std::map<std::string, apps::Command> commands = {
      {"parse", apps::add_parse(program)},     {"check", apps::add_check(program)},
      {"ingest", apps::add_ingest(program)},   {"hydrate", apps::add_hydrate(program)},
      {"owner", apps::add_owner(program)},     {"belongs", apps::add_belongs(program)},
      {"trust", apps::add_trust(program)},     {"scan", apps::add_scan(program)},
      {"list", apps::add_list(program)},       {"verify", apps::add_verify(program)},
      {"forget", apps::add_forget(program)},   {"extract", apps::add_extract(program)},
      {"picture", apps::add_picture(program)}, {"report", apps::add_report(program)},
      {"serve", apps::add_serve(program)},
  };
  program.footer(
      "Examples:\n"
      "  structure-ingest parse water.xyz crystal.cif\n"
      "  structure-ingest hydrate --project my_project ~/water.xyz\n"
      "  structure-ingest COMMAND --help\n\n" +
      program.get_footer());
  const std::string version = std::string("structure-ingest ") + STRUCTURE_INGEST_VERSION;
  program.set_version_flag("--version", version)->description("Print the version and exit");
  for (CLI::App* command : program.get_subcommands({})) {
    command->set_version_flag("--version", version)->description("Print the version and exit");
    command->group("Commands");
  }

  try {
    program.parse(reversed_arguments(argc, argv));
  } catch (const CLI::Success& request) {
    program.exit(request);  // prints the help or the version
    return flushed(apps::ALL_WELL);
  } catch (const CLI::ParseError& error) {
    apps::print_error(apps::refusal_of(program, error));
    return apps::WRONG_USAGE;
  }
  return flushed(commands.at(program.get_subcommands().front()->get_name())());
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
