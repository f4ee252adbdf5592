// Exceptions between Python and the library.
#pragma once

#include <pybind11/pybind11.h>

#include <exception>
#include <optional>
#include <utility>

#include "python/module/python_lock.hpp"
#include "structure_ingest/contracts/collaborators.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// A Python exception that is no Exception: KeyboardInterrupt, SystemExit and the like.
struct PythonInterruption : Interruption {
  explicit PythonInterruption(py::error_already_set cause) : error(std::move(cause)) {}
  py::error_already_set error;
};

/// Calls `function`, which may call Python code, with Python's lock held. Python exceptions become
/// error_already_set, or a PythonInterruption.
template <typename Function>
decltype(auto) in_python(const Function& function) {
  return unless_python_ends([&]() -> decltype(auto) {
    const py::gil_scoped_acquire lock;
    try {
      return function();
    } catch (py::error_already_set& error) {
      if (error.matches(PyExc_Exception)) throw;
      throw PythonInterruption(error);
    }
  });
}

/// The object of a new reference that Python's C interface returned; for null, throws the Python
/// exception that it set.
inline py::object owned(PyObject* reference) {
  if (reference == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(reference);
}

/// What `function` returns; nothing when it raises an Exception.
template <typename Function>
auto unless_it_raises(const Function& function) -> std::optional<decltype(function())> {
  try {
    return function();
  } catch (const py::error_already_set& error) {
    if (!error.matches(PyExc_Exception)) throw;
    return std::nullopt;
  }
}

/// Sets Python's current exception to that of the library: the very object of one that came from
/// Python, an OSError for an error of the file system.
void set_python_error(const std::exception_ptr& error);

/// The same as an exception object.
py::object python_error(const std::exception_ptr& error);

/// Has the module's functions raise exceptions so.
void translate_exceptions();

/// Throws what the user's signal handlers raise, KeyboardInterrupt for Ctrl-C.
void check_signals();

}  // namespace structure_ingest::python
