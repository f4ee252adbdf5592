// Whether the structures of a project are still what was taken in.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/ingest/batch.hpp"
#include "structure_ingest/upkeep/project_structure.hpp"

namespace structure_ingest {

/// What there is to say of a structure that is verified.
enum class VerifyCode {
  source_gone,         ///< no file is where it came from
  source_changed,      ///< its bytes are others
  source_unreadable,   ///< its bytes are the same, but it gives no structure
  source_readable,     ///< it gave no structure when it was taken in, and does now
  source_not_allowed,  ///< the caller does not let it be read
  source_moved,        ///< it was found at its place in a project that was moved
  structure_differs,   ///< its bytes are the same, but it gives another structure than the copy's
  copy_gone,           ///< no regular file is where the copy was
  copy_changed,        ///< the copy is not the text that its name was made for
  copy_unreadable,
  no_copy,    ///< none was written
  duplicate,  ///< an earlier structure has the same source or the same copy
  no_entry,   ///< a copy that no structure of the state has
};

/// "source_gone".
STRUCTURE_INGEST_API std::string_view name_of(VerifyCode code);

struct VerifyFinding {
  VerifyCode code{};
  bool is_problem = true;  ///< whether something is not as it was
  std::string text;        ///< one English sentence without its full stop
};

struct VerifiedStructure {
  ProjectStructure structure;
  std::vector<VerifyFinding> findings{};

  STRUCTURE_INGEST_API bool is_as_it_was() const;
};

struct Verification {
  std::vector<VerifiedStructure> structures;  ///< as listed; copies without an entry come last
  std::string manifest_error{};               ///< as in `ProjectListing`

  STRUCTURE_INGEST_API bool is_as_it_was() const;
};

struct VerifyOptions {
  /// The folder in which the state says the project lies, when that is another: a source in it that
  /// is gone is looked for at the same place in the project.
  std::string moved_from{};
  /// Told of each structure before it is verified, as of files in `IngestOptions`; may be empty.
  Progress progress{};
  /// Reads the sources, as in `IngestOptions`.
  StructureParser* parser = nullptr;
  /// A source that may not be read is a finding.
  MayRead may_read{};
  /// Whether ASE reads all CIF and VASP files again. By default it reads those of which the bytes
  /// are others, or of which the record in the entry is not that of the copy.
  bool deep = false;
};

/// Compares the fingerprint of each source, and the structure that it gives, with what was taken in
/// and with the copy. Nothing is written. `state` as in `list_structures`, which also tells what is
/// thrown.
STRUCTURE_INGEST_API Verification verify_project(const std::string& project,
                                                 const Json& state = nullptr,
                                                 const VerifyOptions& options = {});

}  // namespace structure_ingest
