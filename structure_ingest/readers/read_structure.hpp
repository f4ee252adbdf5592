// Chooses the reader of a file by its name.
#pragma once

#include <optional>
#include <string>

#include "structure_ingest/readers/ase.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/readers/file_content.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

class KnownAnswers;

/// The warning of a record whose file is not there.
inline constexpr const char* NO_SUCH_FILE = "File does not exist.";

/// State that the readers share while they read the files of one batch.
struct Readers {
  AskAse ask_ase;
  CompanionFiles companions{};
  KnownAnswers* known = nullptr;  // in the place of ask_ase, where answers are kept
};

/// Reads the file at `path` as `parse_structure_file` does. A CIF or VASP file is read a second
/// time, since ASE reads it in another process: once, for digest, fingerprint and content together.
ParsedStructure read_structure(const std::string& path, Readers& readers,
                               const ParseOptions& options = {});

/// The fingerprint of a file whose structure depends on its bytes alone: a CIF file, or a VASP file
/// that names its elements. Nothing for others, whose cell or elements may be those of a file
/// beside them, and for one that cannot be read.
std::optional<std::string> fingerprint_that_tells(const std::string& path);

/// Whether the built-in XYZ reader reads the file at `path`, which exists.
bool is_xyz_file(const std::string& path);

/// What a reader would hand down of the file of `record`, for those that have the record alone.
FileContent content_of_file(const IngestedStructure& record);

/// A parser that has CIF and VASP files read by a function of the host's instead of a process that
/// runs ASE.
StructureParser parser_that_asks(AskAse ask_ase);

}  // namespace structure_ingest::internal
