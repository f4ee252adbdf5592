// The data blocks of a CIF, of which parsing reads one.
#pragma once

#include <string>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/readers/dispatch.hpp"

namespace structure_ingest {

/// Reads the data block `name` (in any letter case) of a CIF as if the file held no other. A file
/// that has none of this name, or is no CIF, gives a record with `ok` false that says so. The block
/// is written to a temporary file, which ASE reads.
STRUCTURE_INGEST_API IngestedStructure parse_cif_block(StructureParser& parser,
                                                       const std::string& path,
                                                       const std::string& name);

}  // namespace structure_ingest
