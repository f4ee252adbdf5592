// A structure that was left out of a state, and why.
#pragma once

#include <string>

namespace structure_ingest {

/// A structure that is unrelated to the request.
struct DroppedStructure {
  std::string name;           ///< of its source file
  std::string formula;        ///< empty when it has none
  std::string reason;         ///< the assessor's; may be empty
  std::string source_file{};  ///< where it came from
};

}  // namespace structure_ingest
