#include "python/module/json_values.hpp"

#include <cstdint>
#include <string>

#include "python/module/errors.hpp"
#include "python/module/text.hpp"

namespace structure_ingest::python {
namespace {

constexpr int MOST_LEVELS = 500;  // as in a JSON document that is read

Json integer(const py::handle& value) {
  int overflow = 0;
  const long long number = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
  if (number == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
  if (overflow == 0) return static_cast<std::int64_t>(number);
  const unsigned long long large = PyLong_AsUnsignedLongLong(value.ptr());
  if (PyErr_Occurred() == nullptr) return static_cast<std::uint64_t>(large);
  PyErr_Clear();
  throw py::type_error("an integer of more than 64 bits is no JSON value here");
}

}  // namespace

Json json_of(const py::handle& value, int level) {
  if (level > MOST_LEVELS) throw py::value_error("the value nests too deep, or holds itself");
  if (value.is_none()) return nullptr;
  if (PyBool_Check(value.ptr()) != 0) return value.is(py::handle(Py_True));
  if (PyLong_Check(value.ptr()) != 0) return integer(value);
  if (PyFloat_Check(value.ptr()) != 0) return PyFloat_AS_DOUBLE(value.ptr());
  if (PyUnicode_Check(value.ptr()) != 0) return bytes_of(value);
  if (PyDict_Check(value.ptr()) != 0) {
    Json json = Json::object();
    for (const auto& [key, member] : py::reinterpret_borrow<py::dict>(value)) {
      if (PyUnicode_Check(key.ptr()) == 0) throw py::type_error("a JSON key must be a string");
      json[bytes_of(key)] = json_of(member, level + 1);
    }
    return json;
  }
  if (PyList_Check(value.ptr()) != 0 || PyTuple_Check(value.ptr()) != 0) {
    Json json = Json::array();
    for (const py::handle& element : value) json.push_back(json_of(element, level + 1));
    return json;
  }
  throw py::type_error("a value of type " + std::string(Py_TYPE(value.ptr())->tp_name) +
                       " is no JSON value");
}

Json json_or_null(const py::handle& value, int level) {
  if (level > MOST_LEVELS) return nullptr;
  if (is_mapping(value)) {
    Json json = Json::object();
    for (const py::handle& key : value) {
      if (PyUnicode_Check(key.ptr()) == 0) continue;
      json[bytes_of(key)] = json_or_null(value[key], level + 1);
    }
    return json;
  }
  if (PyList_Check(value.ptr()) != 0 || PyTuple_Check(value.ptr()) != 0) {
    Json json = Json::array();
    for (const py::handle& element : value) json.push_back(json_or_null(element, level + 1));
    return json;
  }
  try {
    return json_of(value, level);
  } catch (const py::type_error&) {
    return nullptr;
  }
}

py::object object_of(const Json& value) {
  switch (value.type()) {
    case Json::value_t::boolean:
      return py::bool_(value.get<bool>());
    case Json::value_t::number_integer:
      return py::int_(value.get<std::int64_t>());
    case Json::value_t::number_unsigned:
      return py::int_(value.get<std::uint64_t>());
    case Json::value_t::number_float:
      return py::float_(value.get<double>());
    case Json::value_t::string:
      return str_of(value.get_ref<const std::string&>());
    case Json::value_t::array: {
      py::list list;
      for (const Json& element : value) list.append(object_of(element));
      return list;
    }
    case Json::value_t::object: {
      py::dict dict;
      for (const auto& [key, member] : value.items()) dict[str_of(key)] = object_of(member);
      return dict;
    }
    default:
      return py::none();
  }
}

bool is_true(const py::handle& value) {
  const int truth = PyObject_IsTrue(value.ptr());
  if (truth < 0) throw py::error_already_set();
  return truth != 0;
}

bool compares(const py::handle& left, const py::handle& right, int operation) {
  return is_true(owned(PyObject_RichCompare(left.ptr(), right.ptr(), operation)));
}

bool is_mapping(const py::handle& value) {
  if (PyDict_Check(value.ptr()) != 0) return true;
  if (value.is_none() || PyUnicode_Check(value.ptr()) != 0 || PyList_Check(value.ptr()) != 0) {
    return false;
  }
  return py::isinstance(value, py::module_::import("collections.abc").attr("Mapping"));
}

py::object value_at(const py::handle& mapping, const char* key) {
  if (PyDict_CheckExact(mapping.ptr()) == 0) return mapping.attr("get")(key);
  PyObject* const value = PyDict_GetItemWithError(mapping.ptr(), py::str(key).ptr());
  if (value == nullptr && PyErr_Occurred() != nullptr) throw py::error_already_set();
  return value == nullptr ? py::none() : py::reinterpret_borrow<py::object>(value);
}

}  // namespace structure_ingest::python
