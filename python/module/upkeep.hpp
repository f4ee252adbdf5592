// What a project holds, for Python.
#pragma once

#include <pybind11/pybind11.h>

namespace structure_ingest::python {

namespace py = pybind11;

/// The structures of a project by its state, a mapping or None: a list of dicts, as all doors tell
/// of them.
py::object listed(const py::handle& project, const py::handle& state, bool check);

/// The same of whether they are still what was taken in.
py::object verified(const py::handle& project, const py::handle& state);

}  // namespace structure_ingest::python
