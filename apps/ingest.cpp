#include <algorithm>
#include <charconv>
#include <cstddef>
#include <filesystem>
#include <map>
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
#include "apps/terminal.hpp"
#include "collaborators/agent_modules/atomic_io.hpp"

namespace apps {
namespace {

using structure_ingest::Json;

struct Arguments {
  std::string project;
  std::string limit = std::to_string(structure_ingest::IngestOptions{}.limit);
  std::string discovery;
  bool json = false;
  bool no_check = false;
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
    throw WrongInput(malformed(path, "", error));
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

/// The number of --limit; a leading zero makes it no octal number, as the option parser would have
/// it.
int read_limit(const std::string& text) {
  int limit = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, limit);
  if (error != std::errc() || stop != end) {
    throw WrongInput("--limit: " + text + " is not a number that can be used");
  }
  return limit;
}

Status run(const Arguments& arguments) {
  if (arguments.project.empty()) throw WrongInput("--project: the name of the folder is empty");
  structure_ingest::IngestOptions options;
  options.limit = read_limit(arguments.limit);
  options.discovery_by_path = read_discovery(arguments.discovery);
  options.check = !arguments.no_check;
  std::vector<std::string> paths;
  for (GivenPath& given : given_paths(arguments.paths)) paths.push_back(std::move(given.path));
  Progress progress;
  options.progress = [&progress](std::size_t done, std::size_t total, const std::string& path) {
    progress.show(done, total, path);
  };
  const structure_ingest::IngestOutcome outcome =
      structure_ingest::ingest_batch(arguments.project, paths, options);
  progress.clear();
  if (arguments.json) {
    print_array(outcome.entries);
  } else {
    for (const structure_ingest::SourceEntry& entry : outcome.entries) show_entry(entry);
    if (outcome.entries.empty()) print_line("Nothing to ingest.");
  }
  const auto considered = static_cast<std::size_t>(std::max(1, options.limit));
  if (paths.size() > considered) {
    print_error("only the first " + std::to_string(considered) + " of " +
                std::to_string(paths.size()) + " paths were considered (see --limit)");
  }
  hint_at_paths(paths, outcome.entries);
  return status_of(outcome.entries, outcome.manifest_error);
}

}  // namespace

Command add_ingest(CLI::App& program) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command =
      program.add_subcommand("ingest", "Take structure files into a project, with their manifest");
  command->add_option("--project", arguments->project, "The project folder")
      ->required()
      ->type_name("DIR");
  command->add_option("--limit", arguments->limit, "How many paths are considered")
      ->type_name("N")
      ->capture_default_str();
  command
      ->add_option("--discovery", arguments->discovery,
                   "JSON file: source identities (resolved, case-folded paths) to discovery kinds")
      ->type_name("FILE");
  command->add_flag("--json", arguments->json, "One JSON array of the source entries");
  command->add_flag("--no-check", arguments->no_check, "Do not check the structures");
  add_path_options(*command, arguments->paths, "Structure files; a relative path is the project's");
  command->callback([arguments] { require_paths(arguments->paths); });
  add_examples(*command, {"ingest --project my_project ~/water.xyz",
                          "ingest --project my_project --limit 100 --files-from list.txt"});
  return [arguments] { return run(*arguments); };
}

}  // namespace apps
