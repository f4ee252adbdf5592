// What a project holds, for Python.
#pragma once

#include <pybind11/pybind11.h>

#include <vector>

#include "structure_ingest/check/finding.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// The structures of a project by its state, a mapping or None: a list of dicts.
py::list listed(const py::handle& project, const py::handle& state, bool check);

/// The same, each with what has changed.
py::list verified(const py::handle& project, const py::handle& state);

/// Findings as tuples, in the order of their fields.
py::list finding_tuples(const std::vector<Finding>& findings);

}  // namespace structure_ingest::python
