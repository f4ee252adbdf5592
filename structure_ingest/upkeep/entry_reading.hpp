// Source entries as states and manifests hold them, read back.
#pragma once

#include <string>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/record/ingested_structure.hpp"
#include "structure_ingest/upkeep/project_structure.hpp"

namespace structure_ingest::internal {

/// The structure that an entry of the project tells of. What is missing or of another type is left
/// out: an entry may come from anywhere.
ProjectStructure structure_of(const Json& entry, const std::string& project);

/// The record that an entry was made from, as far as the entry holds it: `sha256`, the warnings and
/// the atoms. One with `ok` false when its atoms make no sense.
IngestedStructure record_of(const Json& entry);

/// The name of an existing file that is stored as `stored`, in which a byte that is not UTF-8 reads
/// U+FFFD and its two hexadecimal digits; `stored` itself when there is no such file.
std::string file_stored_as(const std::string& stored);

}  // namespace structure_ingest::internal
