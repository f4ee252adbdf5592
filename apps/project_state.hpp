// The options that name the state that a command works on.
#pragma once

#include <string>

#include "apps/command_line.hpp"
#include "collaborators/agent_modules/project_state.hpp"

namespace apps {

using agent_modules::PROJECT_STATE;
using agent_modules::ProjectState;
using StateArguments = agent_modules::StateLocation;

/// Declares --state and --project, which exclude each other.
void add_state_options(Command& command, StateArguments& arguments,
                       const std::string& about_project);

}  // namespace apps
