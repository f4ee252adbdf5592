#include <cstddef>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/path_list.hpp"
#include "apps/progress.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "collaborators/agent_modules/atomic_io.hpp"
#include "structure_ingest/base/folder_lock.hpp"

namespace apps {
namespace {

using structure_ingest::Json;
using structure_ingest::SourceEntry;

constexpr const char* PROJECT_STATE = ".strataquill_state.json";

/// How many files a hydration considers, those of the state included.
const int BATCH_LIMIT = structure_ingest::IngestOptions{}.limit;

struct Arguments {
  std::string state;
  std::string project;
  bool json = false;
  bool no_check = false;
  bool note_findings = false;
  PathArguments paths;
};

std::string message_of(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown error";
  }
}

/// Why an entry was kept: the assessor's verdict on it, if it was asked.
std::string reason_kept(const SourceEntry& entry, const structure_ingest::RelevanceReport& report) {
  for (const structure_ingest::RelevanceVerdict& verdict : report.verdicts) {
    if (verdict.source == entry.path()) {
      return verdict.role + (verdict.reason.empty() ? "" : ": " + verdict.reason);
    }
  }
  return "there is no request to judge it by";
}

void show(const structure_ingest::HydrateOutcome& outcome) {
  for (const SourceEntry& entry : outcome.taken) {
    show_entry(entry);
    print_row("kept", reason_kept(entry, outcome.report));
  }
  for (const structure_ingest::DroppedStructure& dropped : outcome.dropped) {
    print_line(coloured("dropped", YELLOW) + "  " + printable(dropped.name));
    if (!dropped.formula.empty()) print_row("formula", dropped.formula);
    print_row("reason",
              dropped.reason.empty() ? "it does not match the requested material" : dropped.reason);
  }
  for (const structure_ingest::KnownSource& known : outcome.known) {
    print_line((known.changed ? coloured("changed", YELLOW) : "known  ") + "  " +
               printable(known.path));
    if (!known.changed) continue;
    print_row("", "since it was taken in: the state keeps the structure that it has");
  }
  if (outcome.taken.empty() && !outcome.error) print_line("Nothing new.");
}

/// The agent's modules, of which one that cannot tell the trust is spoken of.
structure_ingest::Collaborators modules_that_tell() {
  structure_ingest::Collaborators modules = structure_ingest::agent_modules();
  modules.trust_state_for = [ask = modules.trust_state_for](const std::string& folder) {
    try {
      return ask(folder);
    } catch (const std::exception& error) {
      print_error(std::string("taken as trusted: ") + error.what());
      throw;
    }
  };
  return modules;
}

structure_ingest::HydrateOutcome hydrate(Json& state, const std::vector<std::string>& paths,
                                         const Arguments& arguments) {
  Progress progress;
  return structure_ingest::hydrate(
      state,
      {.extra_paths = paths,
       .collaborators = modules_that_tell(),
       .progress = [&progress](std::size_t done, std::size_t total,
                               const std::string& path) { progress.show(done, total, path); },
       .check = !arguments.no_check,
       .note_findings = arguments.note_findings});
}

/// Has the state of a project's own say that project: one that says another was moved or copied.
void adopt_project(Json& state, const std::string& project) {
  const std::string folder = std::filesystem::absolute(project).lexically_normal().string();
  const std::string kept = structure_ingest::parse_json(structure_ingest::json_text(Json(folder)));
  if (kept != folder) throw WrongInput(folder + ": a state can hold no path that is not UTF-8");
  Json& named = state["project_path"];
  const bool is_missing =
      named.is_null() || (named.is_string() && named.get_ref<const std::string&>().empty());
  if (is_missing) named = folder;
  std::error_code error;
  if (!named.is_string() || !std::filesystem::equivalent(named.get<std::string>(), folder, error)) {
    throw WrongInput(folder + ": its state says that its \"project_path\" is " +
                     structure_ingest::json_text(named));
  }
}

Status run(const Arguments& arguments) {
  const bool own_state = !arguments.project.empty();
  if (own_state) std::filesystem::create_directories(arguments.project);
  const std::string path = own_state
                               ? (std::filesystem::path(arguments.project) / PROJECT_STATE).string()
                               : arguments.state;
  std::error_code ignored;
  if (!own_state && !std::filesystem::exists(path, ignored)) {
    throw WrongInput(path + ": no such file");
  }

  std::vector<std::string> paths;
  for (GivenPath& given : given_paths(arguments.paths)) paths.push_back(std::move(given.path));
  structure_ingest::HydrateOutcome outcome;
  bool was_read = false;
  try {
    agent_modules::update_json(path, Json::object(), [&](Json& state) {
      was_read = true;
      if (!state.is_object()) throw WrongInput(path + ": the state is not a JSON object");
      if (own_state) adopt_project(state, arguments.project);
      outcome = hydrate(state, paths, arguments);
    });
  } catch (const structure_ingest::JsonError& error) {
    throw WrongInput(malformed(path, "the state is malformed: ", error));
  } catch (const structure_ingest::internal::LockError&) {
    throw;  // the state could not have been written
  } catch (const std::system_error& error) {
    if (was_read) throw;
    throw WrongInput(error.what());
  }
  if (arguments.json) {
    print_array(outcome.taken);
  } else {
    show(outcome);
  }
  if (outcome.error) {
    throw WrongInput(path + ": nothing was taken in: " + message_of(outcome.error));
  }
  if (paths.size() > static_cast<std::size_t>(BATCH_LIMIT)) {
    print_error("only the first " + std::to_string(BATCH_LIMIT) +
                " structure files were considered: give the others in another call");
  }
  hint_at_paths(paths, outcome.taken);
  return status_of(outcome.taken, outcome.manifest_error);
}

}  // namespace

Command add_hydrate(CLI::App& program) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = program.add_subcommand(
      "hydrate", "Take the structures that an agent state names into its project");
  CLI::Option* state =
      command->add_option("--state", arguments->state, "The agent state, a JSON file")
          ->type_name("FILE");
  CLI::Option* project =
      command
          ->add_option("--project", arguments->project,
                       std::string("A project whose own ") + PROJECT_STATE +
                           " is the state (instead of --state); created when missing")
          ->type_name("DIR");
  state->excludes(project);
  command->add_flag("--json", arguments->json, "One JSON array of the entries that were added");
  command->add_flag("--no-check", arguments->no_check, "Do not check the structures");
  command->add_flag("--note-findings", arguments->note_findings,
                    "Add a note to the state for each error and warning that the check finds");
  add_path_options(*command, arguments->paths,
                   "More structure files, as if attached; a relative path is the project's");
  add_examples(*command, {"hydrate --project my_project ~/water.xyz ~/crystal.cif",
                          "hydrate --state state.json --json"});
  command->callback([arguments] {
    if (arguments->state.empty() && arguments->project.empty()) {
      throw CLI::RequiredError("--state or --project");
    }
  });
  return [arguments] { return run(*arguments); };
}

}  // namespace apps
