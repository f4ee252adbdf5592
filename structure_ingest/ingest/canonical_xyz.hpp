// The canonical extended-XYZ copy of a structure in its project.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

/// The folder of all canonical copies, relative to the project folder.
inline constexpr std::string_view INGESTED_DIRNAME = "project_root/structures";

namespace internal {

/// The canonical text of a record: the same record always gives the same bytes. Numbers have ten
/// decimals, lines end with LF.
std::string canonical_xyz_text(const IngestedStructure& record);

/// The project-relative path of the copy of `record`, of which `text` is the canonical text: the
/// name holds the source file's stem and the first eight digits of the text's SHA-256 digest.
std::string canonical_xyz_rel(const IngestedStructure& record, const std::string& text);

/// Adds the canonical copy of `record` to `copies`, the files in the project's INGESTED_DIRNAME,
/// unless an identical one is there, and returns its project-relative path. `number` stands for
/// the record in `copies`. Errors of the file system reach the caller.
std::string write_canonical_xyz(FileReplacements& copies, const IngestedStructure& record,
                                std::size_t number);

/// As above, of one record by itself, in the project folder.
std::string write_canonical_xyz(const std::string& project_path, const IngestedStructure& record);

}  // namespace internal
}  // namespace structure_ingest
