#include "apps/project_state.hpp"

namespace apps {

void add_state_options(Command& command, StateArguments& arguments,
                       const std::string& about_project) {
  command.add_option("--state", arguments.state, "FILE", "The agent state, a JSON file");
  command.add_option("--project", arguments.project, "DIR", about_project,
                     {.excludes = {"--state"}});
}

}  // namespace apps
