// The data blocks of a CIF, of which parsing reads one.
#pragma once

#include <string>

#include "structure_ingest/structure_ingest.hpp"

namespace apps {

/// Reads the data block `name` (in any letter case) of a CIF as if the file held no other. A file
/// that has none of this name, or is no CIF, gives a record with `ok` false that says so.
structure_ingest::IngestedStructure parse_block(structure_ingest::StructureParser& parser,
                                                const std::string& path, const std::string& name);

}  // namespace apps
