// A structure file as it was read: its record, and for a check what else the file says.
#pragma once

#include <memory>

#include "structure_ingest/record/ingested_structure.hpp"

namespace structure_ingest {

/// What a reader saw of a file besides the record; `check_structure` takes it.
struct FileContent;

/// A structure file as it was read.
struct ParsedStructure {
  IngestedStructure record;  ///< what the file gave
  /// Null unless it was asked for.
  std::shared_ptr<const FileContent> content{};
};

}  // namespace structure_ingest
