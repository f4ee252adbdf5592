// A structure that a project holds, as its state, its manifest or its copy tell of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/check/finding.hpp"

namespace structure_ingest {

struct ProjectStructure {
  std::string path;           ///< what it is called: its canonical copy, or its source without one
  std::string copy{};         ///< the copy, relative to the project; empty when there is none
  std::string source_file{};  ///< as it is stored; empty when nothing tells
  std::string discovery{};    ///< how the source was found, a discovery kind; empty likewise
  std::string formula{};
  std::int64_t natoms = 0;
  bool has_cell = false;
  bool ok = false;                      ///< whether the source could be read when it was taken in
  std::string sha256{};                 ///< the source's fingerprint then; empty when unknown
  std::vector<std::string> warnings{};  ///< of then
  /// What a check has to say of it, when it was asked for.
  std::vector<Finding> findings{};
  /// When the copy on the disk was written, in seconds since 1970; nothing without one.
  std::optional<std::int64_t> copied_at{};
};

}  // namespace structure_ingest
