// Chooses the reader of a file by its name.
#pragma once

#include <string>

#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest::internal {

/// State that the readers share while they read the files of one batch.
struct Readers {
  AskAse ask_ase;
  CompanionFiles companions{};
};

/// Reads the file at `path` as `parse_structure_file` does; with `fingerprint`, fills in the
/// record's `sha256` unless the file's bytes cannot be read.
IngestedStructure read_structure(const std::string& path, Readers& readers,
                                 bool fingerprint = false);

}  // namespace structure_ingest::internal
