#include "python/module/upkeep.hpp"

#include <string>

#include "python/module/errors.hpp"
#include "python/module/json_values.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/structure_ingest.hpp"
#include "telling/structures.hpp"

namespace structure_ingest::python {
namespace {

/// Has Ctrl-C end long work before its next structure.
Progress interruptible() {
  return [](std::size_t, std::size_t, const std::string&) { in_python(check_signals); };
}

}  // namespace

py::object listed(const py::handle& project, const py::handle& state, bool check) {
  const std::string folder = path_of(project);
  const Json json = json_or_null(state);
  Json list = Json::array();
  {
    const py::gil_scoped_release unlocked;
    const ProjectListing listing =
        list_structures(folder, json, {.check = check, .progress = interruptible()});
    for (const ProjectStructure& structure : listing.structures) {
      list.push_back(telling::structure_json(structure, folder));
    }
  }
  return object_of(list);
}

py::object verified(const py::handle& project, const py::handle& state) {
  const std::string folder = path_of(project);
  const Json json = json_or_null(state);
  Json list = Json::array();
  {
    const py::gil_scoped_release unlocked;
    const Verification verification = verify_project(folder, json, {.progress = interruptible()});
    for (const VerifiedStructure& structure : verification.structures) {
      list.push_back(telling::verified_json(structure));
    }
  }
  return object_of(list);
}

}  // namespace structure_ingest::python
