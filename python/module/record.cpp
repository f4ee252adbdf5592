#include "python/module/record.hpp"

#include <optional>
#include <utility>
#include <vector>

#include "python/module/errors.hpp"
#include "python/module/json_values.hpp"
#include "python/module/lists.hpp"
#include "python/module/package.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/host.hpp"

namespace structure_ingest::python {
namespace {

py::object& record_class() {
  static auto* const held = new py::object;
  return *held;
}

std::string as_it_is(std::string_view text) {
  return std::string(text);
}

py::object cell_object(const IngestedStructure& record) {
  if (!record.cell_ang) return py::none();
  return list_of(*record.cell_ang);
}

/// The fields that a source entry shows but for its lists, and whether there is a cell.
IngestedStructure without_lists(const IngestedStructure& record) {
  IngestedStructure plain{.source_path = record.source_path,
                          .format = record.format,
                          .natoms = record.natoms,
                          .fractional = record.fractional,
                          .formula = record.formula,
                          .sha256 = record.sha256,
                          .canonical_xyz_rel = record.canonical_xyz_rel,
                          .cell_provenance = record.cell_provenance};
  if (record.cell_ang && !record.cell_ang->empty()) plain.cell_ang.emplace(1);
  return plain;
}

std::string text_field(const py::handle& object, const char* name) {
  const py::object value = object.attr(name);
  if (PyUnicode_Check(value.ptr()) == 0) {
    throw py::type_error(std::string(name) + " must be a string");
  }
  return bytes_of(value);
}

std::int64_t natoms_of(const py::handle& object) {
  const py::object number = owned(PyNumber_Index(object.attr("natoms").ptr()));
  const long long natoms = PyLong_AsLongLong(number.ptr());
  if (natoms == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
  return natoms;
}

/// The fields of an object that are no lists.
IngestedStructure plain_fields(const py::handle& object) {
  if (!py::hasattr(object, "source_path")) {
    throw py::type_error("expected an IngestedStructure, not " +
                         py::type::handle_of(object).attr("__name__").cast<std::string>());
  }
  return {.source_path = text_field(object, "source_path"),
          .format = text_field(object, "format"),
          .natoms = natoms_of(object),
          .fractional = is_true(object.attr("fractional")),
          .formula = text_field(object, "formula"),
          .sha256 = text_field(object, "sha256"),
          .canonical_xyz_rel = text_field(object, "canonical_xyz_rel"),
          .cell_provenance = text_field(object, "cell_provenance"),
          .ok = is_true(object.attr("ok"))};
}

py::list copied_rows(const py::handle& rows) {
  const NoCollection no_collection;
  py::list copy = new_list_of(rows);
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(copy.ptr()); ++i) {
    PyObject* const row = new_list_of(PyList_GET_ITEM(copy.ptr(), i)).release().ptr();
    PyList_SetItem(copy.ptr(), i, row);
  }
  return copy;
}

}  // namespace

void bind_record_class(const py::object& cls) {
  record_class() = cls;
}

py::object record_object(const IngestedStructure& record) {
  const py::object object = record_class().attr("__new__")(record_class());
  const auto set = [&object](const char* name, const py::object& value) {
    object.attr(name) = value;
  };
  set("source_path", str_of(record.source_path));
  set("format", str_of(record.format));
  set("natoms", py::int_(record.natoms));
  set("species", list_of(record.species));
  set("symbols", list_of(record.symbols));
  set("positions_ang", list_of(record.positions_ang));
  set("cell_ang", cell_object(record));
  set("fractional", py::bool_(record.fractional));
  set("formula", str_of(record.formula));
  set("sha256", str_of(record.sha256));
  set("canonical_xyz_rel", str_of(record.canonical_xyz_rel));
  set("cell_provenance", str_of(record.cell_provenance));
  set("warnings", list_of(record.warnings));
  set("ok", py::bool_(record.ok));
  return object;
}

IngestedStructure record_of(const py::handle& object) {
  IngestedStructure record = plain_fields(object);
  record.species = texts_of(object.attr("species"), "species");
  record.symbols = texts_of(object.attr("symbols"), "symbols");
  record.positions_ang = vectors_of(object.attr("positions_ang"), "positions_ang", true);
  const py::object cell = object.attr("cell_ang");
  if (!cell.is_none()) record.cell_ang = vectors_of(cell, "cell_ang", false);
  record.warnings = texts_of(object.attr("warnings"), "warnings");
  return record;
}

py::list entry_objects(const std::vector<SourceEntry>& entries) {
  py::list objects;
  for (const SourceEntry& source : entries) {
    const IngestedStructure& record = source.record;
    py::dict entry =
        object_of(internal::source_entry(without_lists(record), source.discovery, as_it_is));
    entry["species"] = list_of(record.species);
    entry["cell_ang"] = cell_object(record);
    entry["symbols"] = list_of(record.symbols);
    entry["positions_ang"] = list_of(record.positions_ang);
    entry["warnings"] = list_of(record.warnings);
    entry["ok"] = py::bool_(record.ok);
    objects.append(entry);
  }
  return objects;
}

py::dict entry_of_object(const py::handle& object, const std::string& discovery) {
  IngestedStructure plain = plain_fields(object);
  const py::object cell = object.attr("cell_ang");
  if (is_true(cell)) plain.cell_ang.emplace(1);
  py::dict entry = object_of(internal::source_entry(plain, discovery, as_it_is));
  const auto list = [&object](const char* name) { return new_list_of(object.attr(name)); };
  entry["species"] = list("species");
  entry["cell_ang"] = cell;
  entry["symbols"] = list("symbols");
  entry["positions_ang"] = copied_rows(object.attr("positions_ang"));
  entry["warnings"] = list("warnings");
  return entry;
}

std::string write_manifest(const std::string& project, const py::list& objects) {
  if (objects.empty()) return {};
  py::dict manifest;
  manifest["version"] = 1;
  manifest["structures"] = objects;
  return call_atomic_write_json(path_object(internal::join_path(project, INGEST_MANIFEST_REL)),
                                manifest);
}

}  // namespace structure_ingest::python
