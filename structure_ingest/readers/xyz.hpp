// The built-in reader for XYZ and extended-XYZ files, with or without an orbital column.
#pragma once

#include <cstdint>
#include <string>

#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

/// The largest accepted number of atoms.
inline constexpr std::int64_t MAX_ATOMS = 20000;

/// Reads the first frame of an XYZ file. `path` names an existing regular file, in normal form. A
/// bad file gives a record with `ok` false and one warning for the first problem met, which ends
/// the parse. A file without a cell gets that of a companion input file, or a warning that there is
/// none. With `fingerprint` the record's `sha256` is that of exactly the bytes that were parsed; it
/// stays empty when the file cannot be read to its end.
IngestedStructure parse_xyz(const std::string& path, CompanionFiles& companions,
                            bool fingerprint = false);

}  // namespace structure_ingest::internal
