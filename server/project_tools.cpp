// The tools that look at what a project holds, and take a structure out of it.
#include <algorithm>
#include <string>
#include <system_error>
#include <vector>

#include "collaborators/agent_modules/project_state.hpp"
#include "server/answers.hpp"
#include "server/call.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/structure_ingest.hpp"
#include "telling/outcomes.hpp"
#include "telling/structures.hpp"

namespace server {
namespace {

namespace base = structure_ingest::internal;
using agent_modules::ProjectState;
using structure_ingest::ForgetOutcome;
using structure_ingest::ProjectStructure;
using structure_ingest::VerifiedStructure;
using structure_ingest::VerifyFinding;

/// A project and its state. Throws ToolError for a folder that is not there, or is no project.
ProjectState state_of(const Workspace& workspace, const Json& arguments) {
  const std::string project = workspace.roots().locate_project(arguments.at("project"));
  ProjectState found;
  if (base::is_directory(project)) {
    found = agent_modules::read_project_state({.project = project});
    if (agent_modules::is_project(found)) return found;
  }
  const auto owner = structure_ingest::owning_project_root(project);
  throw ToolError("There is no project " + in_quotes(project) +
                  (owner ? "; it lies in the project " + in_quotes(*owner) : "") +
                  ". hydrate_project creates one as it takes structures in.");
}

/// The name by which the state knows what the client means: a copy is known by its path in the
/// project, where answers give its whole path.
std::string name_to_forget(const Roots& roots, const std::string& project,
                           const std::string& given) {
  if (!given.starts_with("file:") && !base::is_absolute(given)) return given;
  std::string path = roots.locate(given);
  const std::string resolved = base::resolve_path(path);
  if (!base::is_within(resolved, project) || resolved == project) return path;
  std::string inside = resolved.substr(project == "/" ? 1 : project.size() + 1);
  return structure_ingest::is_copy_path(inside) ? inside : path;
}

[[noreturn]] void refuse_unclear(const structure_ingest::UnclearName& unclear) {
  std::string message = "Nothing was forgotten: the name " + in_quotes(unclear.name);
  if (unclear.fits.empty()) {
    throw ToolError(message +
                    " fits no structure of the state. Call list_structures, and give the 'name' of "
                    "the one that is meant.");
  }
  message += " fits " + base::counted(unclear.fits.size(), "structure") + ":";
  for (const ProjectStructure& structure : unclear.fits) message += " " + in_quotes(structure.path);
  throw ToolError(message + ". Call again with the one that the user means.");
}

const char* fate_of_copy(const ForgetOutcome& outcome, const ProjectStructure& structure,
                         const std::string& project, const Json& arguments) {
  if (structure.copy.empty()) return "none";
  if (std::find(outcome.copies.begin(), outcome.copies.end(), structure.copy) ==
      outcome.copies.end()) {
    return "needed_by_another";
  }
  if (arguments.at("delete_copy") != true) return "kept";
  try {
    return telling::fate_code(
        structure_ingest::delete_copy(project, structure.copy, arguments.at("dry_run") == true));
  } catch (const std::system_error&) {
    return "could_not_be_deleted";
  }
}

}  // namespace

Answer list_structures(Workspace& workspace, const Json& arguments, const Call& call) {
  const ProjectState project = state_of(workspace, arguments);
  const structure_ingest::ProjectListing listing =
      structure_ingest::list_structures(project.project, project.state,
                                        {.check = true,
                                         .check_from = arguments.at("offset"),
                                         .check_count = arguments.at("limit"),
                                         .progress = call.progress(),
                                         .may_read = workspace.may_read()});
  const Page page = page_of(arguments, listing.structures.size());
  Answer answer;
  answer.lines.push_back(in_quotes(project.project) + ": " +
                         base::counted(page.total, "structure"));
  answer.data = {{"project", project.project},
                 {"has_state", !project.state.is_null()},
                 {"structures", Json::array()}};
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    add_structure(answer, listing.structures[i], project.project, "");
  }
  add_page(answer.data, page);
  answer.data["copies_without_entry"] = listing.other_copies.size();
  answer.data["manifest_problem"] = listing.manifest_error;
  answer.next_step =
      !page.is_last()   ? "There are more structures: " + way_to_next(page, "offset")
      : page.total == 0 ? "The project is empty: call scan_workspace to find structure files, and "
                          "hydrate_project to take them in."
                        : "To calculate, give the path of a structure's copy to the program; never "
                          "retype coordinates. verify_project tells whether copies and sources are "
                          "still what was taken in.";
  return answer;
}

Answer verify_project(Workspace& workspace, const Json& arguments, const Call& call) {
  const ProjectState project = state_of(workspace, arguments);
  const structure_ingest::Verification verification =
      structure_ingest::verify_project(project.project, project.state,
                                       {.moved_from = project.moved_from,
                                        .progress = call.progress(),
                                        .parser = &workspace.parser(),
                                        .may_read = workspace.may_read()});
  std::vector<const VerifiedStructure*> remarkable;
  for (const VerifiedStructure& verified : verification.structures) {
    if (!verified.findings.empty()) remarkable.push_back(&verified);
  }
  const telling::VerifiedCounts counts = telling::counts_of(verification);
  const bool well = verification.is_as_it_was() && project.moved_from.empty() &&
                    verification.manifest_error.empty();
  const Page page = page_of(arguments, remarkable.size());
  Answer answer;
  answer.lines.push_back(in_quotes(project.project) +
                         ": as taken in: " + telling::in_short(counts));
  if (!project.moved_from.empty()) {
    answer.lines.push_back("  problem: the state says that the project is " +
                           in_quotes(project.moved_from));
  }
  Json structures = Json::array();
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    structures.push_back(telling::verified_json(*remarkable[i]));
    answer.lines.push_back(line_on(remarkable[i]->structure));
    for (const VerifyFinding& finding : remarkable[i]->findings) {
      answer.lines.push_back((finding.is_problem ? "  problem: " : "  note: ") + finding.text);
    }
  }
  answer.data = {
      {"project", project.project},      {"as_it_was", well},
      {"verified", counts.structures},   {"not_as_it_was", counts.structures - counts.as_they_were},
      {"never_read", counts.never_read}, {"structures", std::move(structures)}};
  add_page(answer.data, page);
  answer.data["moved_from"] = project.moved_from;
  answer.data["manifest_problem"] = verification.manifest_error;
  answer.next_step =
      !page.is_last() ? "There is more to say: " + way_to_next(page, "offset")
      : well && counts.structures == 0
          ? "The project holds no structure: there is nothing to calculate with."
      : well && counts.never_read > 0
          ? "The copies can be relied on. A file that never gave a structure has none: do not "
            "calculate with it."
      : well ? "Everything is as it was taken in: the copies can be relied on."
      : !project.moved_from.empty()
          ? "The project was moved or copied: ask the user to set \"project_path\" in its state "
            "to where it is now. Until then nothing can be taken in or forgotten."
          : "Tell the user what has changed, and do not calculate with those structures before a "
            "decision. If the new content is meant, call hydrate_project with refresh; if a copy "
            "is gone or was changed, hydrate_project with the source writes it anew.";
  return answer;
}

Answer forget_structure(Workspace& workspace, const Json& arguments, const Call& call) {
  const ProjectState project = state_of(workspace, arguments);
  if (project.state.is_null()) {
    throw ToolError("The project " + in_quotes(project.project) +
                    " has no agent state, so that there is nothing to forget. Its manifest is "
                    "replaced by the next ingest_structures.");
  }
  const bool dry_run = arguments.at("dry_run") == true;
  const std::vector<std::string> names = {
      name_to_forget(workspace.roots(), project.project, arguments.at("name"))};
  ForgetOutcome outcome;
  const auto forget = [&](Json& state) {
    call.check();
    outcome = structure_ingest::forget_structures(
        state, names, {.folder = workspace.roots().folders().front(), .dry_run = dry_run});
    if (!outcome.unclear.empty()) refuse_unclear(outcome.unclear.front());
  };
  if (dry_run) {
    Json state = project.state;
    forget(state);
  } else {
    agent_modules::change_state({.project = project.project}, forget);
    structure_ingest::forget_findings(project.project, outcome.sources);
  }
  const ProjectStructure& structure = outcome.forgotten.front();
  const std::string fate = fate_of_copy(outcome, structure, project.project, arguments);
  Answer answer;
  answer.lines = {(dry_run ? "would be forgotten: " : "forgotten: ") + line_on(structure)};
  const bool would_go = dry_run && fate == "deleted";
  if (fate != "none") answer.lines.push_back("  copy: " + (would_go ? "would be " + fate : fate));
  for (const std::string& note : outcome.notes) {
    answer.lines.push_back("  note taken out: " + in_quotes(note));
  }
  answer.data = {{"project", project.project},
                 {"dry_run", dry_run},
                 {"forgotten", telling::structure_json(structure, project.project)},
                 {"copy", fate},
                 {"notes_removed", outcome.notes}};
  answer.changes_files = !dry_run;
  answer.next_step =
      dry_run ? "Nothing was written. If the user agrees, call again without dry_run."
      : fate == "could_not_be_deleted"
          ? "The structure is forgotten, but its copy is still there: tell the user."
      : fate == "kept_as_changed"
          ? "The structure is forgotten. Its copy was changed after it was written, so that it was "
            "kept: tell the user."
          : "The structure is forgotten; hydrate_project with its source takes it in again.";
  return answer;
}

}  // namespace server
