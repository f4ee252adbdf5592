#include <optional>
#include <stdexcept>
#include <system_error>

#include "apps/command_line.hpp"
#include "apps/terminal.hpp"
#include "collaborators/agent_modules/directory_trust.hpp"
#include "structure_ingest/base/paths.hpp"

namespace apps {
namespace {

struct TrustArguments {
  bool list = false;
  bool trusted = false;
  bool untrusted = false;
  bool forget = false;
  std::string directory = ".";
};

/// Changes the list; one that is malformed is wrong input, one that cannot be written is not.
void change(const std::string& directory, const std::optional<std::string>& state) {
  try {
    agent_modules::set_trust(directory, state);
  } catch (const std::system_error&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw WrongInput(error.what());
  }
}

Status run(const TrustArguments& arguments) {
  if (arguments.trusted) change(arguments.directory, "trusted");
  if (arguments.untrusted) change(arguments.directory, "untrusted");
  if (arguments.forget) change(arguments.directory, std::nullopt);
  try {
    const std::string directory = structure_ingest::internal::resolve_path(arguments.directory);
    if (!arguments.list) {
      print_line(agent_modules::trust_state_for(directory).state);
      return ALL_WELL;
    }
    for (const auto& [listed, state] : agent_modules::trust_list()) {
      print_line(state + "  " + printable(listed));
    }
    return ALL_WELL;
  } catch (const std::runtime_error& error) {  // among them those of the file system
    throw WrongInput(error.what());
  }
}

}  // namespace

Command trust_command() {
  auto arguments = std::make_shared<TrustArguments>();
  Command command{.name = "trust",
                  .about = "Show or change which directories are trusted to be scanned",
                  .examples = {"trust", "trust --untrusted ~/downloads", "trust --list"},
                  .run = [arguments] { return run(*arguments); }};
  command.add("--list", &arguments->list, "Print the list of directories");
  command.add("--trusted", &arguments->trusted, "List DIR as trusted", {.excludes = {"--list"}});
  command.add("--untrusted", &arguments->untrusted,
              "List DIR as untrusted: no scan looks into it, and from a project in it none is made",
              {.excludes = {"--list", "--trusted"}});
  command.add("--forget", &arguments->forget, "Take DIR off the list",
              {.excludes = {"--list", "--trusted", "--untrusted"}});
  command.add("DIR", &arguments->directory, "The directory (default: the current one)");
  return command;
}

}  // namespace apps
