// Text and paths between Python and the library, in which they are bytes.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <string_view>

namespace structure_ingest::python {

namespace py = pybind11;

/// The bytes of a Python string: UTF-8, with the bytes that stand for themselves in file names
/// (PEP 383) as they are. Any other lone surrogate gives a NUL and then its three bytes: the
/// library refuses a path with a NUL, as Python refuses one with such a surrogate.
std::string bytes_of(const py::handle& text);

/// The Python string of such bytes.
py::str str_of(std::string_view bytes);

/// The text of any value: a string itself, the path of an os.PathLike, and otherwise str(value).
std::string text_of(const py::handle& value);

/// The text of a value that must be a string or an os.PathLike; otherwise TypeError.
std::string path_of(const py::handle& value);

/// A pathlib.Path. Imports pathlib at the first call: importing it takes longer than this module.
py::object path_object(std::string_view path);

}  // namespace structure_ingest::python
