// Records as Python objects of the package's class IngestedStructure, and their source entries.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// Names the class of records: objects with the fields of a record as attributes.
void bind_record_class(const py::object& record_class);

/// A new record.
py::object record_object(const IngestedStructure& record);

/// The record that an object holds. Throws TypeError or ValueError for a field of another kind.
IngestedStructure record_of(const py::handle& object);

/// A new source entry of a record, with "ok" as its last key if it is `complete`.
py::dict entry_object(const IngestedStructure& record, const std::string& discovery, bool complete);

/// A new source entry of a record object, whose own cell it holds.
py::dict entry_of_object(const py::handle& object, const std::string& discovery);

}  // namespace structure_ingest::python
