// A structure that a project holds, as its state, its manifest or its copy tell of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/check/finding.hpp"
#include "structure_ingest/ingest/source_entry.hpp"

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
  /// What a check has to say of it; nothing when it was not checked.
  std::optional<std::vector<Finding>> findings{};
  /// The digest in the name that the copy of the record in the entry would have. Found out for
  /// `ListOptions::record_digests`; empty otherwise, and where the record has no structure.
  std::string record_digest{};
  /// When the copy on the disk was written, in seconds since 1970; nothing without one.
  std::optional<std::int64_t> copied_at{};
};

/// The structure that an entry of a state or a manifest tells of. What is missing or of another
/// type is left out: an entry may come from anywhere. An empty `project` has no copies.
STRUCTURE_INGEST_API ProjectStructure project_structure(const Json& entry,
                                                        const std::string& project);

/// As above, of an entry as a batch gives it, findings included.
STRUCTURE_INGEST_API ProjectStructure project_structure(const SourceEntry& entry,
                                                        const std::string& project);

/// The record that an entry was made from, as far as the entry holds it: `sha256`, the warnings and
/// the atoms. One with `ok` false when its atoms make no sense.
STRUCTURE_INGEST_API IngestedStructure record_of(const Json& entry);

/// The name of an existing file that a state or a manifest holds as `stored`, in which a byte that
/// is not UTF-8 reads U+FFFD and its two hexadecimal digits; `stored` itself when there is no such
/// file.
STRUCTURE_INGEST_API std::string file_stored_as(const std::string& stored);

}  // namespace structure_ingest
