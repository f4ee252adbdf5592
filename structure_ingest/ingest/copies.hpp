// The canonical copies that lie in a project: written, found and read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/record/record_fwd.hpp"

namespace structure_ingest::internal {

/// A canonical copy that a project has, or is about to have.
struct WrittenCopy {
  std::string rel;        ///< its path relative to the project
  bool restored = false;  ///< whether it takes the place of something else, such as an edited copy
};

/// Adds the canonical copy of `record` to `copies`, the files in the project's INGESTED_DIRNAME,
/// unless an identical one is there; a dry run adds none. `number` stands for the record in
/// `copies`. Errors of the file system reach the caller.
WrittenCopy write_canonical_xyz(FileReplacements& copies, const IngestedStructure& record,
                                std::size_t number, bool dry_run = false);

/// Writes the canonical copy of one record into the project folder, and returns its path there.
std::string write_canonical_xyz(const std::string& project_path, const IngestedStructure& record);

/// The text of a copy, with the line ends that were written; nothing when no regular file is there.
/// Throws std::system_error when it cannot be read.
std::optional<std::string> text_of_copy(const std::string& project, const std::string& copy);

/// When the copy was last written; nothing when no regular file is there.
std::optional<std::int64_t> time_of_copy(const std::string& project, const std::string& copy);

}  // namespace structure_ingest::internal
