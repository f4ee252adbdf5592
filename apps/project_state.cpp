#include "apps/project_state.hpp"

#include <CLI/CLI.hpp>

namespace apps {

void add_state_options(CLI::App& command, StateArguments& arguments,
                       const std::string& about_project) {
  CLI::Option* const state =
      command.add_option("--state", arguments.state, "The agent state, a JSON file")
          ->type_name("FILE");
  CLI::Option* const project =
      command.add_option("--project", arguments.project, about_project)->type_name("DIR");
  state->excludes(project);
}

}  // namespace apps
