#include <algorithm>

#include "apps/commands.hpp"
#include "apps/options.hpp"
#include "apps/progress.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "telling/structures.hpp"

namespace apps {
namespace {

using structure_ingest::Json;
using structure_ingest::Verification;
using structure_ingest::VerifiedStructure;
using structure_ingest::VerifyFinding;

struct VerifyArguments {
  StateArguments state;
  bool json = false;
};

bool is_without_entry(const VerifiedStructure& verified) {
  return std::any_of(verified.findings.begin(), verified.findings.end(),
                     [](const VerifyFinding& finding) {
                       return finding.code == structure_ingest::VerifyCode::no_entry;
                     });
}

std::string heading_of(const VerifiedStructure& verified) {
  if (!verified.is_as_it_was()) return coloured("not as it was", RED);
  return is_without_entry(verified) ? coloured("no entry", YELLOW) : coloured("as it was", GREEN);
}

void print_verified(const VerifiedStructure& verified) {
  const std::string& source = verified.structure.source_file;
  print_line(heading_of(verified) + "  " +
             printable(source.empty() ? verified.structure.path : source));
  if (!source.empty() && !verified.structure.copy.empty()) {
    print_row("copy", verified.structure.copy);
  }
  for (const VerifyFinding& finding : verified.findings) {
    print_row(finding.is_problem ? "problem" : "note", finding.text);
  }
}

void print_verification(const Verification& verification) {
  std::size_t total = 0;
  std::size_t well = 0;
  for (const VerifiedStructure& verified : verification.structures) {
    print_verified(verified);
    if (is_without_entry(verified)) continue;
    ++total;
    if (verified.is_as_it_was()) ++well;
  }
  print_line(total == 0 ? "No structures."
                        : "As taken in: " + std::to_string(well) + " of " + std::to_string(total) +
                              (total == 1 ? " structure." : " structures."));
}

Status run(const VerifyArguments& arguments) {
  const ProjectState project = read_project_state(arguments.state);
  Progress progress;
  const Verification verification = structure_ingest::verify_project(
      project.project, project.state,
      {.moved_from = project.moved_from, .progress = std::ref(progress)});
  progress.clear();
  if (arguments.json) {
    Json list = Json::array();
    for (const VerifiedStructure& verified : verification.structures) {
      list.push_back(telling::verified_json(verified));
    }
    print_line(structure_ingest::json_text(list));
  } else {
    print_verification(verification);
  }
  if (!project.moved_from.empty()) {
    print_error(project.file + ": it says that the project is " + project.moved_from +
                "; if it was moved here, set \"project_path\" to " + project.project);
  }
  if (!verification.manifest_error.empty()) print_error(verification.manifest_error);
  const bool well = verification.is_as_it_was() && project.moved_from.empty() &&
                    verification.manifest_error.empty();
  return well ? ALL_WELL : SOME_FILE_UNPARSED;
}

}  // namespace

Command verify_command() {
  auto arguments = std::make_shared<VerifyArguments>();
  Command command{.name = "verify",
                  .about =
                      "Check that a project's structures are still what was taken in; exit "
                      "status 1 if something is not as it was",
                  .examples = {"verify --project my_project",
                               "verify --json | jq '.[] | select(.as_it_was | not)'"},
                  .run = [arguments] { return run(*arguments); }};
  add_state_options(command, arguments->state, "The project folder (default: the current one)");
  command.add("--json", &arguments->json, "One JSON array of the structures and findings");
  return command;
}

}  // namespace apps
