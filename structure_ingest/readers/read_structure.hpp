// Chooses the reader of a file by its name.
#pragma once

#include <string>

#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/readers/dispatch.hpp"
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

/// A parser that has CIF and VASP files read by a function of the host's instead of a process that
/// runs ASE.
StructureParser parser_that_asks(AskAse ask_ase);

}  // namespace structure_ingest::internal
