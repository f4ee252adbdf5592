// What is done with a project and its files besides taking them in: listing, verifying, forgetting,
// and writing a frame or a report where the caller says.
#pragma once

#include <pybind11/pybind11.h>

#include "python/module/reader.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// Has Ctrl-C end long work before its next file or structure.
Progress interruptible();

/// The structures of a project by its state, a mapping or None: a list of dicts, as all doors tell
/// of them.
py::object listed(const py::handle& project, const py::handle& state, bool check);

/// The same of whether they are still what was taken in.
py::object verified(const py::handle& project, const py::handle& state, bool deep);

/// Takes structures out of a state, and tells what was taken out. Throws ValueError for a name that
/// does not tell one.
py::object forget(const py::object& mapping, const py::handle& names, bool delete_copies,
                  bool dry_run);

/// Writes a frame of a file as exact extended XYZ, and returns its record.
py::object extract(Reader* reader, const py::handle& path, const py::handle& output,
                   const py::handle& frame, bool force);

/// Write the page on some files, or on what a project holds.
void report_on_files(Reader* reader, const py::handle& paths, const py::handle& output,
                     const py::handle& title, bool force);
void report_on_project(const py::handle& project, const py::handle& state, const py::handle& output,
                       const py::handle& title, bool force);

}  // namespace structure_ingest::python
