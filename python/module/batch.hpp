// The entries of a batch as Python objects, and its manifest.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "structure_ingest/ingest/source_entry.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// New source entries, "ok" included.
py::list entry_objects(const std::vector<SourceEntry>& entries);

/// Hands the manifest of a resolved project, which holds the list `objects` itself, to the writer
/// of the package; none for no entries. Returns why it could not be written.
std::string write_manifest(const std::string& project, const py::list& objects);

}  // namespace structure_ingest::python
