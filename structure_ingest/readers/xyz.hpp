// The built-in reader for XYZ and extended-XYZ files, orbital-column variant included.
#pragma once

#include <cstdint>
#include <string>

#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

/// The largest accepted number of atoms.
inline constexpr std::int64_t MAX_ATOMS = 20000;

/// Reads the first frame of an XYZ file. `path` names an existing regular file, in normal form.
/// A bad file gives a record with `ok` false and one warning that says why; the first problem met
/// ends the parse. A file without a cell takes that of a companion input file, or says it has none.
/// With `fingerprint` the record's `sha256` is that of the very bytes that were parsed; it stays
/// empty when the file cannot be read to its end.
IngestedStructure parse_xyz(const std::string& path, CompanionFiles& companions,
                            bool fingerprint = false);

}  // namespace structure_ingest::internal
