#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "apps/command_line.hpp"
#include "apps/commands.hpp"
#include "apps/outcome.hpp"
#include "apps/path_list.hpp"
#include "apps/progress.hpp"
#include "apps/summary.hpp"
#include "apps/terminal.hpp"
#include "collaborators/agent_modules/atomic_io.hpp"

namespace apps {
namespace {

using structure_ingest::Json;

struct IngestArguments {
  std::string project;
  std::string limit = std::to_string(structure_ingest::DEFAULT_LIMIT);
  std::string discovery;
  bool json = false;
  bool dry_run = false;
  bool no_check = false;
  std::string jobs;
  PathArguments paths;
};

std::map<std::string, std::string> read_discovery(const std::string& path) {
  std::map<std::string, std::string> kinds;
  if (path.empty()) return kinds;
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) throw WrongInput(path + ": no such file");
  Json mapping;
  try {
    mapping = agent_modules::read_json(path, nullptr);
  } catch (const structure_ingest::JsonError& error) {
    throw WrongInput(agent_modules::malformed(path, "", error));
  } catch (const std::system_error& error) {
    throw WrongInput(error.what());
  }
  if (!mapping.is_object()) throw WrongInput(path + ": not a JSON object");
  for (const auto& [identity, kind] : mapping.items()) {
    if (!kind.is_string()) throw WrongInput(path + ": not every kind is a string");
    kinds[identity] = kind.get<std::string>();
  }
  return kinds;
}

Status run(const IngestArguments& arguments) {
  if (arguments.project.empty()) throw WrongInput("--project: the name of the folder is empty");
  structure_ingest::IngestOptions options;
  options.limit = read_limit(arguments.limit);
  options.discovery_by_path = read_discovery(arguments.discovery);
  options.batch.check = !arguments.no_check;
  options.batch.dry_run = arguments.dry_run;
  structure_ingest::StructureParser parser({.processes = processes_for(arguments.jobs)});
  options.batch.parser = &parser;
  const std::vector<std::string> paths = paths_into_project(arguments.paths);
  Progress progress;
  options.batch.progress = [&progress](std::size_t done, std::size_t total,
                                       const std::string& path) {
    progress.show(done, total, path);
  };
  const structure_ingest::IngestOutcome outcome =
      structure_ingest::ingest_batch(arguments.project, paths, options);
  progress.clear();
  if (arguments.json) {
    print_array(outcome.entries);
    warn_skipped(outcome.skipped, options.limit);
  } else {
    if (arguments.dry_run) print_line(DRY_RUN);
    Summary summary;
    for (const structure_ingest::SourceEntry& entry : outcome.entries) {
      print_entry(entry);
      summary.add(entry.record);
    }
    print_skipped(outcome.skipped, options.limit);
    if (outcome.entries.empty() && outcome.skipped.empty()) print_line("Nothing to ingest.");
    summary.print();
  }
  warn_why_no_ase(outcome.why_no_ase);
  return status_of(outcome.entries, outcome.manifest_error);
}

}  // namespace

Command ingest_command() {
  auto arguments = std::make_shared<IngestArguments>();
  Command command{.name = "ingest",
                  .about = "Take structure files into a project, with their manifest"};
  command.add_option("--project", arguments->project, "DIR", "The project folder",
                     {.required = true});
  command.add_option("--limit", arguments->limit, "N", "How many paths are considered",
                     {.show_default = true});
  command.add_option(
      "--discovery", arguments->discovery, "FILE",
      "JSON file: source identities (resolved, case-folded paths) to discovery kinds");
  command.add_flag("--json", arguments->json, "One JSON array of the source entries");
  command.add_flag("--no-check", arguments->no_check, "Do not check the structures");
  command.add_flag("--dry-run", arguments->dry_run, "Write nothing; say what would be done");
  add_jobs_option(command, arguments->jobs);
  add_project_path_options(command, arguments->paths, "Structure files");
  command.check = [arguments] { require_paths(arguments->paths); };
  command.examples = {"ingest --project my_project ~/water.xyz",
                      "ingest --project my_project --limit 100 --files-from list.txt"};
  command.run = [arguments] { return run(*arguments); };
  return command;
}

}  // namespace apps
