#include <cstddef>
#include <exception>
#include <filesystem>
#include <memory>
#include <span>
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

namespace apps {
namespace {

using structure_ingest::Json;

constexpr const char* PROJECT_STATE = ".strataquill_state.json";

/// How many files a hydration considers, those of the state included.
const int BATCH_LIMIT = structure_ingest::IngestOptions{}.limit;

struct Arguments {
  std::string state;
  std::string project;
  bool json = false;
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

/// The list of notes in the state; empty where it is none.
Json notes_in(const Json& state) {
  const auto notes = state.find("structure_notes");
  return notes != state.end() && notes->is_array() ? *notes : Json::array();
}

/// Why an entry was kept: the assessor's verdict on it, if it was asked.
std::string reason_kept(const Json& entry, const structure_ingest::RelevanceReport& report) {
  const std::string path = entry["path"].get<std::string>();
  for (const structure_ingest::RelevanceVerdict& verdict : report.verdicts) {
    if (verdict.source == path) {
      return verdict.role + (verdict.reason.empty() ? "" : ": " + verdict.reason);
    }
  }
  return "there is no request to judge it by";
}

/// What a hydration did, told once the state is saved.
struct Hydration {
  std::vector<Json> entries;
  std::vector<Json> notes;  // the new ones
  structure_ingest::RelevanceReport report;
  WriteFailures failures;
  std::string suppressed;  // the error that ended it, if any
};

void show(const Hydration& hydration) {
  if (hydration.entries.empty() && hydration.notes.empty()) {
    print_line("Nothing new. A file that the state knows is not read again.");
  }
  for (const Json& entry : hydration.entries) {
    show_entry(entry);
    print_row("kept", reason_kept(entry, hydration.report));
  }
  // The other notes tell the assistant what the entries have just told the user.
  for (const Json& note : hydration.notes) {
    if (!note.is_string() || !note.get_ref<const std::string&>().starts_with("Ignored '")) continue;
    constexpr std::size_t HEAD_WIDTH = 9;  // "dropped" and two blanks
    print_line(coloured("dropped", YELLOW) + "  " +
               wrapped(printable_message(note.get_ref<const std::string&>()), HEAD_WIDTH));
  }
}

/// The agent's modules, with what passes through them noted in `hydration`, which must outlive
/// them.
structure_ingest::Collaborators watched_modules(Hydration& hydration) {
  structure_ingest::Collaborators modules = structure_ingest::agent_modules();
  hydration.failures.watch(modules);
  modules.record_suppressed_error = [&hydration, record = modules.record_suppressed_error](
                                        const Json& project_path,
                                        const structure_ingest::SuppressedError& error) {
    hydration.suppressed = message_of(error.exc);
    record(project_path, error);
  };
  modules.trust_state_for = [ask = modules.trust_state_for](const std::string& folder) {
    try {
      return ask(folder);
    } catch (const std::exception& error) {
      print_error(std::string("taken as trusted: ") + error.what());
      throw;
    }
  };
  modules.assess_structure_relevance = [&hydration, assess = modules.assess_structure_relevance](
                                           const std::vector<Json>& entries,
                                           const std::string& request, const Json& state) {
    hydration.report = assess(entries, request, state);
    return hydration.report;
  };
  return modules;
}

void hydrate(Json& state, const std::vector<std::string>& paths, Hydration& hydration) {
  const std::size_t notes_before = notes_in(state).size();
  Progress progress;
  const std::span<const Json> entries = structure_ingest::hydrate_user_structures(
      state,
      {.extra_paths = paths,
       .collaborators = watched_modules(hydration),
       .progress = [&progress](std::size_t done, std::size_t total, const std::string& path) {
         progress.show(done, total, path);
       }});
  progress.clear();
  hydration.entries.assign(entries.begin(), entries.end());
  const Json notes = notes_in(state);
  hydration.notes.assign(notes.begin() + static_cast<std::ptrdiff_t>(notes_before), notes.end());
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
  Hydration hydration;
  bool was_read = false;
  try {
    agent_modules::update_json(path, Json::object(), [&](Json& state) {
      was_read = true;
      if (!state.is_object()) throw WrongInput(path + ": the state is not a JSON object");
      if (own_state) adopt_project(state, arguments.project);
      hydrate(state, paths, hydration);
    });
  } catch (const structure_ingest::JsonError& error) {
    throw WrongInput(malformed(path, "the state is malformed: ", error));
  } catch (const std::system_error& error) {
    const bool is_locked = error.code() == std::errc::operation_would_block;
    if (was_read || is_locked) throw;
    throw WrongInput(error.what());
  }
  if (arguments.json) {
    print_array(hydration.entries);
  } else {
    show(hydration);
  }
  if (!hydration.suppressed.empty()) {
    throw WrongInput(path + ": nothing was taken in: " + hydration.suppressed);
  }
  if (paths.size() > static_cast<std::size_t>(BATCH_LIMIT)) {
    print_error("only the first " + std::to_string(BATCH_LIMIT) +
                " structure files were considered: give the others in another call");
  }
  hint_at_paths(paths, hydration.entries);
  return status_of(hydration.entries, hydration.failures);
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
