// Python lists of a record's values, made without a detour.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// A list of strings; equal element symbols are one object.
py::list list_of(const std::vector<std::string>& texts);

/// A list of lists of three floats.
py::list list_of(const std::vector<Vector3>& vectors);

/// A new list of the elements of any iterable.
py::list new_list_of(const py::handle& iterable);

/// Three numbers each, from any sequences of numbers. Throws TypeError or ValueError, with `name`,
/// for anything else. Of a longer element the first three count if `may_be_longer`.
std::vector<Vector3> vectors_of(const py::handle& rows, const char* name, bool may_be_longer);

/// The texts of a sequence of strings; otherwise TypeError.
std::vector<std::string> texts_of(const py::handle& texts, const char* name);

/// The numbers of rows of three as one block of doubles.
py::bytearray packed(const py::handle& rows, const char* name);

/// Keeps Python's collector of cycles from running while many lists are made: each would make it
/// look through all of them, and none of them is garbage.
class NoCollection {
 public:
#if PY_VERSION_HEX >= 0x030A0000
  NoCollection() : was_enabled_(PyGC_Disable() != 0) {}
  ~NoCollection() {
    if (was_enabled_) PyGC_Enable();
  }
#else
  NoCollection() = default;
  ~NoCollection() = default;
#endif
  NoCollection(const NoCollection&) = delete;
  NoCollection& operator=(const NoCollection&) = delete;

 private:
  [[maybe_unused]] bool was_enabled_ = false;
};

}  // namespace structure_ingest::python
