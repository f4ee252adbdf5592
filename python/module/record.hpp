// Records as Python objects of the package's class IngestedStructure, their source entries, and
// the manifest of these.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "structure_ingest/ingest/source_entry.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// Names the class of records: objects with the fields of a record as attributes.
void bind_record_class(const py::object& record_class);

/// A new record.
py::object record_object(const IngestedStructure& record);

/// The record that an object holds. Throws TypeError or ValueError for a field of another kind.
IngestedStructure record_of(const py::handle& object);

/// New source entries, "ok" included.
py::list entry_objects(const std::vector<SourceEntry>& entries);

/// Hands the manifest of a resolved project, which holds the list `objects` itself, to the writer
/// of the package; none for no entries. Returns why it could not be written.
std::string write_manifest(const std::string& project, const py::list& objects);

/// A new source entry of a record object, whose own cell it holds.
py::dict entry_of_object(const py::handle& object, const std::string& discovery);

}  // namespace structure_ingest::python
