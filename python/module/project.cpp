#include "python/module/project.hpp"

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "outputs/output_file.hpp"
#include "outputs/reported.hpp"
#include "python/module/errors.hpp"
#include "python/module/json_values.hpp"
#include "python/module/lists.hpp"
#include "python/module/package.hpp"
#include "python/module/python_lock.hpp"
#include "python/module/record.hpp"
#include "python/module/state.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/base/durable.hpp"
#include "telling/outcomes.hpp"
#include "telling/structures.hpp"

namespace structure_ingest::python {
namespace {

[[noreturn]] void refuse_unclear(const UnclearName& unclear) {
  std::string message = unclear.name + ": ";
  if (unclear.fits.empty()) {
    message += "no structure of that name";
  } else {
    message += "fits " + std::to_string(unclear.fits.size()) + " structures:";
    for (const ProjectStructure& structure : unclear.fits) message += " " + structure.path + ",";
    message += " give the path of the one that is meant";
  }
  throw std::invalid_argument(message + "; nothing was forgotten");
}

const char* fate_of_copy(const std::string& project, const std::string& copy, bool dry_run) {
  try {
    return telling::fate_code(delete_copy(project, copy, dry_run));
  } catch (const std::system_error&) {
    return "could_not_be_deleted";
  }
}

FrameChoice choice_of(const py::handle& frame) {
  const auto choice = frame_choice(text_of(frame));
  if (choice && !choice->all) return *choice;
  throw std::invalid_argument("frame must be a number from 1 on, or 'last'");
}

/// Refuses an output as `require_replaceable` does.
void require_output(const std::string& output, bool force,
                    const std::vector<std::string>& made_from) {
  try {
    outputs::require_replaceable(output, force, made_from);
  } catch (const outputs::RefusedOutput& refused) {
    if (!refused.exists) throw;
    throw std::filesystem::filesystem_error("", output,
                                            std::make_error_code(std::errc::file_exists));
  }
}

void write_report(outputs::Report report, const std::string& output, const std::string& title) {
  report.program = std::string("structure-ingest ") + STRUCTURE_INGEST_VERSION;
  if (!title.empty()) report.title = title;
  internal::replace_file(output, outputs::report_page(report));
}

std::string title_of(const py::handle& title) {
  return title.is_none() ? "" : text_of(title);
}

}  // namespace

Progress interruptible() {
  return [](std::size_t, std::size_t, const std::string&) { in_python(check_signals); };
}

py::object listed(const py::handle& project, const py::handle& state, bool check) {
  const std::string folder = path_of(project);
  const Json json = json_or_null(state);
  Json list = Json::array();
  {
    const Unlocked unlocked;
    const ProjectListing listing =
        list_structures(folder, json, {.check = check, .progress = interruptible()});
    for (const ProjectStructure& structure : listing.structures) {
      list.push_back(telling::structure_json(structure, folder));
    }
  }
  return object_of(list);
}

py::object verified(const py::handle& project, const py::handle& state, bool deep) {
  const std::string folder = path_of(project);
  const Json json = json_or_null(state);
  Json list = Json::array();
  const auto verify = [&](StructureParser& parser) {
    const Verification verification = verify_project(
        folder, json, {.progress = interruptible(), .parser = &parser, .deep = deep});
    for (const VerifiedStructure& structure : verification.structures) {
      list.push_back(telling::verified_json(structure));
    }
  };
  if (deep) {
    Reader(in_process_by_default, false).use(verify);
  } else {
    with_parser(nullptr, verify);
  }
  return object_of(list);
}

py::object forget(const py::object& mapping, const py::handle& names, bool delete_copies,
                  bool dry_run) {
  State state(mapping, State::Reading::in_full);
  std::vector<std::string> texts;
  for (const py::handle& name : new_list_of(names)) texts.push_back(text_of(name));
  const ForgetOutcome outcome =
      state.forget(texts, {.folder = std::filesystem::current_path().string(), .dry_run = dry_run});
  if (!outcome.unclear.empty()) refuse_unclear(outcome.unclear.front());
  const std::string project = state.project();
  Json told = {
      {"forgotten", Json::array()}, {"notes_removed", outcome.notes}, {"copies", Json::object()}};
  {
    const Unlocked unlocked;
    for (const ProjectStructure& structure : outcome.forgotten) {
      told["forgotten"].push_back(telling::structure_json(structure, project));
    }
    for (const std::string& copy : outcome.copies) {
      told["copies"][copy] = delete_copies ? fate_of_copy(project, copy, dry_run) : "kept";
    }
    if (!dry_run) forget_findings(project, outcome.sources);
  }
  return object_of(told);
}

py::object extract(Reader* reader, const py::handle& path, const py::handle& output,
                   const py::handle& frame, bool force) {
  use_known_symbols();
  const std::string file = path_of(path);
  const std::string target = path_of(output);
  const FrameChoice choice = choice_of(frame);
  return record_object(with_parser(reader, [&](StructureParser& parser) {
    outputs::require_xyz_name(target);
    require_output(target, force, {file});
    IngestedStructure found;
    visit_frames(parser, file, choice,
                 [&](const IngestedStructure& record, const std::string&) { found = record; });
    if (!found.ok) throw std::invalid_argument(file + ": " + why_not_read(found));
    internal::replace_file(target, canonical_xyz_text(found));
    return found;
  }));
}

void report_on_files(Reader* reader, const py::handle& paths, const py::handle& output,
                     const py::handle& title, bool force) {
  use_known_symbols();
  std::vector<std::string> files;
  for (const py::handle& path : new_list_of(paths)) files.push_back(path_of(path));
  const std::string target = path_of(output);
  const std::string heading = title_of(title);
  with_parser(reader, [&](StructureParser& parser) {
    outputs::ending_of_output(target, {".html", ".htm"});
    require_output(target, force, files);
    outputs::Report report{.title = "Structures"};
    for (const std::string& file : files) {
      in_python(check_signals);
      report.structures.push_back(outputs::reported_file(parser, file, ""));
    }
    write_report(std::move(report), target, heading);
  });
}

void report_on_project(const py::handle& project, const py::handle& state, const py::handle& output,
                       const py::handle& title, bool force) {
  const std::string folder = path_of(project);
  const std::string target = path_of(output);
  const std::string heading = title_of(title);
  const Json json = json_or_null(state);
  const Unlocked unlocked;
  outputs::ending_of_output(target, {".html", ".htm"});
  require_output(target, force, outputs::files_of_project(folder));
  write_report(outputs::report_on_project(folder, json, interruptible()).report, target, heading);
}

}  // namespace structure_ingest::python
