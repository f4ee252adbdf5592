// The findings that a project keeps of its structures.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json_fwd.hpp"
#include "structure_ingest/check/finding.hpp"

namespace structure_ingest {

/// Where a project keeps its findings, relative to its folder.
inline constexpr std::string_view FINDINGS_REL = ".diagnostics/structure_findings.json";

/// A list of objects with `code`, `severity`, `message`, `atoms` and `source`.
STRUCTURE_INGEST_API Json findings_list(std::span<const Finding> findings);

/// The findings on one state of a source file.
struct FileFindings {
  std::string source_path;  ///< as the source entry has it
  std::string sha256;       ///< the fingerprint of the record; empty for a file that cannot be read
  std::vector<Finding> findings{};

  bool operator==(const FileFindings&) const = default;
};

/// The findings that a project keeps, those that were found last first; a source that has changed
/// may have several. Structures that were checked and have none are there, too; structures that
/// were never checked are not. None when there is no such file, or it cannot be used.
STRUCTURE_INGEST_API std::vector<FileFindings> kept_findings(const std::string& project);

/// Takes the findings on all states of these sources out of those that a project keeps, once no
/// structure of it has them. Best effort: findings on a source that is not there do no harm.
STRUCTURE_INGEST_API void forget_findings(const std::string& project,
                                          std::span<const std::string> sources);

}  // namespace structure_ingest
