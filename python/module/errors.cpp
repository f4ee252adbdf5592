#include "python/module/errors.hpp"

#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>

#include "python/module/text.hpp"
#include "structure_ingest/base/paths.hpp"

namespace structure_ingest::python {
namespace {

/// Unlike its own way, this can be done again: what ended a hydration is reported, and then raised.
void restore(const py::error_already_set& raised) {
  PyErr_Restore(raised.type().inc_ref().ptr(), raised.value().inc_ref().ptr(),
                raised.trace().inc_ref().ptr());
}

void set_os_error(const std::system_error& error, const std::string& path) {
  try {
    const int number = error.code().value();
    const py::object reason = str_of(error.code().message());
    const py::handle os_error(PyExc_OSError);
    const py::object exception =
        path.empty() ? os_error(number, reason) : os_error(number, reason, str_of(path));
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr())), exception.ptr());
  } catch (const py::error_already_set& raised) {
    restore(raised);
  }
}

/// A character that cannot be in a path came with a NUL: then the error is what Python raises.
void set_path_error(const internal::NulInPath& failure) {
  try {
    owned(PyUnicode_EncodeFSDefault(str_of(failure.path).ptr()));
    PyErr_SetString(PyExc_ValueError, failure.what());
  } catch (const py::error_already_set& raised) {
    restore(raised);
  }
}

}  // namespace

void set_python_error(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const PythonInterruption& interruption) {
    restore(interruption.error);
  } catch (const py::error_already_set& raised) {
    restore(raised);
  } catch (const py::builtin_exception& raised) {
    raised.set_error();
  } catch (const std::filesystem::filesystem_error& failure) {
    set_os_error(failure, failure.path1().native());
  } catch (const std::system_error& failure) {
    set_os_error(failure, "");
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const internal::NulInPath& failure) {
    set_path_error(failure);
  } catch (const std::invalid_argument& failure) {
    PyErr_SetString(PyExc_ValueError, failure.what());
  } catch (const std::exception& failure) {
    PyErr_SetString(PyExc_RuntimeError, failure.what());
  } catch (...) {
    PyErr_SetString(PyExc_RuntimeError, "an error of an unknown kind");
  }
}

py::object python_error(const std::exception_ptr& error) {
  set_python_error(error);
  const py::error_already_set raised;  // takes it from Python again
  if (raised.trace()) PyException_SetTraceback(raised.value().ptr(), raised.trace().ptr());
  return raised.value();
}

void translate_exceptions() {
  py::register_local_exception_translator([](std::exception_ptr error) {
    if (error) set_python_error(error);
  });
}

void check_signals() {
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

}  // namespace structure_ingest::python
