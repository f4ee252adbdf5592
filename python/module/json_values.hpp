// JSON values as Python objects, and back.
#pragma once

#include <pybind11/pybind11.h>

#include "structure_ingest/base/json.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// Dictionaries, lists, strings, numbers, booleans and None.
py::object object_of(const Json& value);

/// The other way. Throws TypeError for a value that JSON has not: keys that are no strings, objects
/// of other types, integers beyond 64 bits; and ValueError for one that holds itself. `level` is
/// how deep the value stands in another.
Json json_of(const py::handle& value, int level = 0);

/// The same with null for what JSON has not, and without keys that are no strings.
Json json_or_null(const py::handle& value, int level = 0);

/// Whether a value counts as true in Python.
bool is_true(const py::handle& value);

/// The result of a comparison (Py_EQ, Py_GE) as Python's "if" takes it.
bool compares(const py::handle& left, const py::handle& right, int operation);

/// Whether a value is a mapping: a dict, or what Python's collections.abc.Mapping says.
bool is_mapping(const py::handle& value);

/// The value under a key of a mapping; None when it is missing. Calls get() of what is no plain
/// dict, and so fails as Python does for what is no mapping.
py::object value_at(const py::handle& mapping, const char* key);

}  // namespace structure_ingest::python
