#include "python/module/batch.hpp"

#include "python/module/package.hpp"
#include "python/module/record.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/host.hpp"

namespace structure_ingest::python {

py::list entry_objects(const std::vector<SourceEntry>& entries) {
  py::list objects;
  for (const SourceEntry& entry : entries) {
    objects.append(entry_object(entry.record, entry.discovery, true));
  }
  return objects;
}

std::string write_manifest(const std::string& project, const py::list& objects) {
  if (objects.empty()) return {};
  py::dict manifest;
  manifest["version"] = 1;
  manifest["structures"] = objects;
  return call_atomic_write_json(path_object(internal::join_path(project, INGEST_MANIFEST_REL)),
                                manifest);
}

}  // namespace structure_ingest::python
