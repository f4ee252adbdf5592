#include <algorithm>
#include <exception>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/terminal.hpp"
#include "collaborators/atomic_io.hpp"

namespace apps {
namespace {

using structure_ingest::Json;

constexpr const char* PROJECT_STATE = ".strataquill_state.json";

struct Arguments {
  std::string state;
  std::string project;
  bool json = false;
  std::vector<std::string> paths;
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

/// The notes that the state has now and had not before.
std::vector<Json> new_notes(const Json& state, const Json& notes_before) {
  std::vector<Json> notes;
  if (!state.contains("structure_notes") || !state["structure_notes"].is_array()) return notes;
  for (const Json& note : state["structure_notes"]) {
    const bool known =
        std::find(notes_before.begin(), notes_before.end(), note) != notes_before.end();
    if (!known && note.is_string()) notes.push_back(note);
  }
  return notes;
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

void show(std::span<const Json> entries, const structure_ingest::RelevanceReport& report,
          const std::vector<Json>& notes) {
  if (entries.empty() && notes.empty()) print_line("Nothing new.");
  for (const Json& entry : entries) {
    show_entry(entry);
    print_line("  kept: " + printable(reason_kept(entry, report)));
  }
  for (const Json& note : notes) {
    const std::string text = note.get<std::string>();
    const bool dropped = text.starts_with("Ignored '");
    print_line((dropped ? coloured("dropped", YELLOW) : "note") + std::string("  ") +
               printable(text));
  }
}

Status run(const Arguments& arguments) {
  const std::string path =
      arguments.project.empty()
          ? arguments.state
          : (std::filesystem::path(arguments.project) / PROJECT_STATE).string();
  structure_ingest::HydrateOptions options{.extra_paths = arguments.paths};
  WriteFailures failures;
  failures.watch(options.collaborators);
  std::string suppressed;
  options.collaborators.record_suppressed_error =
      [&suppressed, record = options.collaborators.record_suppressed_error](
          const Json& project_path, const structure_ingest::SuppressedError& error) {
        suppressed = message_of(error.exc);
        record(project_path, error);
      };

  structure_ingest::RelevanceReport report;
  options.collaborators.assess_structure_relevance =
      [&report, assess = options.collaborators.assess_structure_relevance](
          const std::vector<Json>& entries, const std::string& request, const Json& state) {
        report = assess(entries, request, state);
        return report;
      };

  Json missing = nullptr;
  if (!arguments.project.empty()) {
    std::filesystem::create_directories(arguments.project);
    missing = {{"project_path", std::filesystem::absolute(arguments.project).string()}};
  }
  Status status = ALL_WELL;
  bool was_read = false;
  const auto change = [&](Json& state) {
    was_read = true;
    if (state.is_null()) throw WrongInput(path + ": no such file");
    if (!state.is_object()) throw WrongInput(path + ": the state is not a JSON object");
    const Json notes_before = state.value("structure_notes", Json::array());
    const std::span<const Json> entries = structure_ingest::hydrate_user_structures(state, options);
    if (arguments.json) {
      print_line(
          structure_ingest::json_text(Json(std::vector<Json>(entries.begin(), entries.end()))));
    } else {
      show(entries, report, new_notes(state, notes_before));
    }
    status = status_of(entries, failures);
  };
  try {
    qelda_agent::update_json(path, missing, change);
  } catch (const structure_ingest::JsonError& error) {
    throw WrongInput(path + ": the state is malformed: " + error.what());
  } catch (const std::system_error& error) {
    if (was_read) throw;
    throw WrongInput(error.what());
  }
  if (!suppressed.empty()) throw WrongInput(path + ": nothing was taken in: " + suppressed);
  return status;
}

}  // namespace

Command add_hydrate(CLI::App& program) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = program.add_subcommand(
      "hydrate", "Take the structures that an agent state names into its project");
  CLI::Option* state =
      command->add_option("--state", arguments->state, "The agent state, a JSON file");
  CLI::Option* project = command->add_option("--project", arguments->project,
                                             std::string("A project whose own ") + PROJECT_STATE +
                                                 " is the state; it is created when missing");
  state->excludes(project);
  command->add_flag("--json", arguments->json, "One JSON array of the entries that were added");
  command->add_option("PATH", arguments->paths, "More structure files, as if attached");
  command->callback([arguments] {
    if (arguments->state.empty() && arguments->project.empty()) {
      throw CLI::RequiredError("--state or --project");
    }
  });
  return [arguments] { return run(*arguments); };
}

}  // namespace apps
