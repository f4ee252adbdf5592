// The canonical extended-XYZ text of a structure, and the names of its copies in projects.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest {

/// The folder of all canonical copies, relative to the project folder.
inline constexpr std::string_view INGESTED_DIRNAME = "project_root/structures";

/// The canonical text of a record: the same record always gives the same bytes. Numbers have ten
/// decimals, lines end with LF.
STRUCTURE_INGEST_API std::string canonical_xyz_text(const IngestedStructure& record);

/// The project-relative path of the copy of `record`, of which `text` is the canonical text: the
/// name holds the source file's stem and the first eight digits of the text's SHA-256 digest.
STRUCTURE_INGEST_API std::string canonical_xyz_rel(const IngestedStructure& record,
                                                   const std::string& text);

/// Whether `path` is that of a canonical copy relative to its project, and no path to elsewhere.
STRUCTURE_INGEST_API bool is_copy_path(std::string_view path);

/// The digest in the name of a copy, of the text that it had when it was named; empty for any other
/// path.
STRUCTURE_INGEST_API std::string digest_in_name(std::string_view copy);

/// The digest of a text as the names of copies hold it.
STRUCTURE_INGEST_API std::string copy_digest(std::string_view text);

/// The copies that lie in a project, relative to it, in the order of their names. A folder that
/// cannot be read holds none.
STRUCTURE_INGEST_API std::vector<std::string> copies_in(const std::string& project);

/// Whether a regular file of a project, given by its path relative to it, is the copy of this
/// canonical text, line ends aside. Throws std::system_error when it cannot be read.
STRUCTURE_INGEST_API bool is_copy_of(const std::string& text, const std::string& project,
                                     const std::string& copy);

}  // namespace structure_ingest
