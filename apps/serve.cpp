#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <system_error>

#include "apps/options.hpp"
#include "apps/terminal.hpp"
#include "server/session.hpp"
#include "structure_ingest/base/file.hpp"

namespace apps {
namespace {

using structure_ingest::internal::Descriptor;

struct ServeArguments {
  std::vector<std::string> roots;
  bool read_only = false;
  bool no_cache = false;
};

/// Takes standard output for the protocol alone: what anything else prints goes to standard error.
Descriptor take_standard_output() {
  Descriptor output(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!output.is_open() || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
    throw std::system_error(errno, std::generic_category(), "standard output");
  }
  return output;
}

Status run(const ServeArguments& arguments) {
  server::Workspace workspace(server::Roots(arguments.roots), arguments.read_only,
                              {.cache = !arguments.no_cache});
  const Descriptor descriptor = take_standard_output();
  std::signal(SIGPIPE, SIG_IGN);  // a client that is gone is found by the write that fails
  server::LineInput input(STDIN_FILENO);
  server::LineOutput output(descriptor.number());
  server::serve(workspace, input, output,
                {.version = STRUCTURE_INGEST_VERSION, .log = print_error});
  return ALL_WELL;
}

}  // namespace

Command serve_command() {
  auto arguments = std::make_shared<ServeArguments>();
  Command command{.name = "serve",
                  .about = "Offer all this to an assistant, by the Model Context Protocol",
                  .examples = {"serve --root ~/calculations", "serve --root ~/data --read-only"},
                  .run = [arguments] { return run(*arguments); }};
  command.add("--root DIR", &arguments->roots,
              "A folder to work in, links followed; may be given more than once. Nothing outside "
              "is read or written, but for the cache",
              {.required = true});
  command.add("--read-only", &arguments->read_only, "Offer nothing that writes");
  add_cache_option(command, arguments->no_cache);
  return command;
}

}  // namespace apps
