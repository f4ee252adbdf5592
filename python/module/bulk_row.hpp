// What a table of very many files says of one of them.
#pragma once

#include <pybind11/pybind11.h>

#include "python/module/reader.hpp"

namespace structure_ingest::python {

/// Reads and checks one file and returns a new dict of JSON values: the fingerprint, the record but
/// for its path, quantities derived from it, the findings, and the digest of the canonical text
/// (None unless the record is ok). A number that is not finite is None.
/// The space group is searched for if `symmetry`; the lists of the atoms are part of it if `atoms`.
/// `begins_batch` has the companion of a folder read again.
py::dict bulk_row(Reader& reader, const py::handle& path, bool begins_batch, bool symmetry,
                  bool atoms);

}  // namespace structure_ingest::python
