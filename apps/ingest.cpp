#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>

#include "apps/batch.hpp"
#include "apps/interruption.hpp"
#include "apps/summary.hpp"
#include "apps/terminal.hpp"
#include "collaborators/agent_modules/atomic_io.hpp"

namespace apps {
namespace {

using structure_ingest::Json;

struct IngestArguments {
  std::string project;
  std::string discovery;
  BatchArguments batch;
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
  const BatchArguments& batch = arguments.batch;
  require_paths(batch.paths);
  if (arguments.project.empty()) throw WrongInput("--project: the name of the folder is empty");
  structure_ingest::IngestOptions options;
  options.limit = read_limit(batch.limit);
  options.discovery_by_path = read_discovery(arguments.discovery);
  structure_ingest::StructureParser parser(parser_options(batch.reading));
  const std::vector<std::string> paths = paths_into_project(batch.paths);
  end_in_order();
  Progress progress;
  options.batch = batch_options(batch, parser, progress);
  const structure_ingest::IngestOutcome outcome =
      structure_ingest::ingest_batch(arguments.project, paths, options);
  progress.clear();
  if (batch.json) {
    print_array(outcome.entries);
    warn_skipped(outcome.skipped, options.limit);
  } else {
    if (batch.dry_run) print_line(DRY_RUN);
    const Detail detail = detail_of(paths.size(), batch.verbose);
    Summary summary;
    for (const structure_ingest::SourceEntry& entry : outcome.entries) {
      print_entry(entry, detail, batch.molecules);
      summary.add(entry.record, entry.findings.value_or(std::vector<structure_ingest::Finding>()));
    }
    print_skipped(outcome.skipped, options.limit, detail);
    if (outcome.entries.empty() && outcome.skipped.empty()) print_line("Nothing to ingest.");
    summary.print();
  }
  const Status status = status_of(outcome.entries, outcome.manifest_error, outcome.why_no_ase);
  return std::max(status, status_of(outcome.skipped, paths));
}

}  // namespace

Command ingest_command() {
  auto arguments = std::make_shared<IngestArguments>();
  BatchArguments& batch = arguments->batch;
  Command command{.name = "ingest",
                  .about = "Take structure files into a project, with their manifest",
                  .examples = {"ingest --project my_project ~/water.xyz",
                               "ingest --project my_project --limit 100 --files-from list.txt"},
                  .run = [arguments] { return run(*arguments); }};
  command.add("--project DIR", &arguments->project, "The project folder", {.required = true});
  command.add("--limit N", &batch.limit, "How many paths are considered", {.show_default = true});
  command.add("--discovery FILE", &arguments->discovery,
              "JSON file: source identities (resolved, case-folded paths) to discovery kinds");
  command.add("--json", &batch.json, "One JSON array of the source entries");
  command.add("--no-check", &batch.no_check, "Do not check the structures");
  command.add("--dry-run", &batch.dry_run, "Write nothing; say what would be done");
  add_verbose_option(command, batch.verbose);
  add_molecules_option(command, batch.molecules);
  add_reading_options(command, batch.reading);
  add_project_path_options(command, batch.paths, "Structure files, or folders of them");
  return command;
}

}  // namespace apps
