#include "python/module/lists.hpp"

#include <array>
#include <cstddef>

#include "python/module/errors.hpp"
#include "python/module/text.hpp"

namespace structure_ingest::python {
namespace {

/// The object of a text of one or two ASCII letters, each made once.
PyObject* symbol_object(const std::string& text) {
  static std::array<std::array<PyObject*, 27>, 26> known{};
  const auto first = static_cast<std::size_t>(text[0] - 'A');
  const std::size_t second = text.size() == 1 ? 26 : static_cast<std::size_t>(text[1] - 'a');
  if (first >= 26 || second > 26 || (text.size() == 2 && second == 26)) return nullptr;
  PyObject*& object = known[first][second];
  if (object == nullptr) object = PyUnicode_InternFromString(text.c_str());
  Py_XINCREF(object);
  return object;
}

py::list new_list(std::size_t size) {
  return owned(PyList_New(static_cast<Py_ssize_t>(size)));
}

py::object fast_sequence(const py::handle& values, const std::string& message) {
  return owned(PySequence_Fast(values.ptr(), message.c_str()));
}

}  // namespace

py::list list_of(const std::vector<std::string>& texts) {
  py::list list = new_list(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string& text = texts[i];
    PyObject* object = text.size() == 1 || text.size() == 2 ? symbol_object(text) : nullptr;
    if (object == nullptr) object = str_of(text).release().ptr();
    PyList_SET_ITEM(list.ptr(), static_cast<Py_ssize_t>(i), object);
  }
  return list;
}

py::list list_of(const std::vector<Vector3>& vectors) {
  const NoCollection no_collection;
  py::list list = new_list(vectors.size());
  for (std::size_t i = 0; i < vectors.size(); ++i) {
    py::list row = new_list(3);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      PyObject* const number = PyFloat_FromDouble(vectors[i][axis]);
      if (number == nullptr) throw py::error_already_set();
      PyList_SET_ITEM(row.ptr(), static_cast<Py_ssize_t>(axis), number);
    }
    PyList_SET_ITEM(list.ptr(), static_cast<Py_ssize_t>(i), row.release().ptr());
  }
  return list;
}

py::list new_list_of(const py::handle& iterable) {
  return owned(PySequence_List(iterable.ptr()));
}

std::vector<Vector3> vectors_of(const py::handle& rows, const char* name, bool may_be_longer) {
  const std::string message = std::string(name) + " must be a list of rows of three numbers";
  const py::object list = fast_sequence(rows, message);
  std::vector<Vector3> vectors(static_cast<std::size_t>(PySequence_Fast_GET_SIZE(list.ptr())));
  for (std::size_t i = 0; i < vectors.size(); ++i) {
    // Converting a number may run code that changes the list.
    if (static_cast<std::size_t>(PySequence_Fast_GET_SIZE(list.ptr())) != vectors.size()) {
      throw py::value_error(message);
    }
    const auto row = py::reinterpret_borrow<py::object>(
        PySequence_Fast_GET_ITEM(list.ptr(), static_cast<Py_ssize_t>(i)));
    const py::object numbers = fast_sequence(row, message);
    const Py_ssize_t size = PySequence_Fast_GET_SIZE(numbers.ptr());
    if (size < 3 || (size > 3 && !may_be_longer)) throw py::value_error(message);
    std::array<py::object, 3> held;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      held[axis] = py::reinterpret_borrow<py::object>(
          PySequence_Fast_GET_ITEM(numbers.ptr(), static_cast<Py_ssize_t>(axis)));
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
      vectors[i][axis] = PyFloat_AsDouble(held[axis].ptr());
      if (vectors[i][axis] == -1.0 && PyErr_Occurred() != nullptr) throw py::error_already_set();
    }
  }
  return vectors;
}

std::vector<std::string> texts_of(const py::handle& texts, const char* name) {
  const std::string message = std::string(name) + " must be a list of strings";
  const py::object list = fast_sequence(texts, message);
  std::vector<std::string> out;
  for (Py_ssize_t i = 0; i < PySequence_Fast_GET_SIZE(list.ptr()); ++i) {
    PyObject* const text = PySequence_Fast_GET_ITEM(list.ptr(), i);
    if (PyUnicode_Check(text) == 0) throw py::type_error(message);
    out.push_back(bytes_of(text));
  }
  return out;
}

py::bytearray packed(const py::handle& rows, const char* name) {
  const std::vector<Vector3> vectors = vectors_of(rows, name, false);
  return {reinterpret_cast<const char*>(vectors.data()), vectors.size() * sizeof(Vector3)};
}

}  // namespace structure_ingest::python
