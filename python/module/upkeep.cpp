#include "python/module/upkeep.hpp"

#include <string>

#include "python/module/errors.hpp"
#include "python/module/json_values.hpp"
#include "python/module/lists.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace structure_ingest::python {
namespace {

py::dict dict_of(const ProjectStructure& structure) {
  py::dict dict;
  dict["path"] = str_of(structure.path);
  dict["copy"] = str_of(structure.copy);
  dict["source_file"] = str_of(structure.source_file);
  dict["discovery"] = str_of(structure.discovery);
  dict["formula"] = str_of(structure.formula);
  dict["natoms"] = structure.natoms;
  dict["has_cell"] = structure.has_cell;
  dict["ok"] = structure.ok;
  dict["sha256"] = str_of(structure.sha256);
  dict["warnings"] = list_of(structure.warnings);
  dict["copied_at"] = structure.copied_at ? py::object(py::int_(*structure.copied_at)) : py::none();
  return dict;
}

}  // namespace

py::list finding_tuples(const std::vector<Finding>& findings) {
  py::list list;
  for (const Finding& finding : findings) {
    py::list atoms;
    for (const std::size_t atom : finding.atoms) atoms.append(atom);
    list.append(py::make_tuple(finding.code, severity_name(finding.severity),
                               str_of(finding.message), atoms, finding.source));
  }
  return list;
}

py::list listed(const py::handle& project, const py::handle& state, bool check) {
  const std::string folder = path_of(project);
  const Json json = json_or_null(state);
  ProjectListing listing;
  {
    const py::gil_scoped_release unlocked;
    listing = list_structures(folder, json, {.check = check});
  }
  py::list list;
  for (const ProjectStructure& structure : listing.structures) {
    py::dict dict = dict_of(structure);
    dict["findings"] = finding_tuples(structure.findings);
    list.append(dict);
  }
  return list;
}

py::list verified(const py::handle& project, const py::handle& state) {
  const std::string folder = path_of(project);
  const Json json = json_or_null(state);
  Verification verification;
  {
    const py::gil_scoped_release unlocked;
    const Progress interruptible = [](std::size_t, std::size_t, const std::string&) {
      in_python(check_signals);
    };
    verification = verify_project(folder, json, {.progress = interruptible});
  }
  py::list list;
  for (const VerifiedStructure& structure : verification.structures) {
    py::dict dict = dict_of(structure.structure);
    dict["is_as_it_was"] = structure.is_as_it_was();
    py::list changes;
    for (const VerifyFinding& finding : structure.findings) {
      changes.append(
          py::make_tuple(name_of(finding.code), finding.is_problem, str_of(finding.text)));
    }
    dict["changes"] = changes;
    list.append(dict);
  }
  return list;
}

}  // namespace structure_ingest::python
