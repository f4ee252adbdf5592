// Findings as JSON, for the program's output and for the file that a batch writes.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "structure_ingest/base/api.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/check/finding.hpp"

namespace structure_ingest {

/// Where a batch writes its findings, relative to the project folder.
inline constexpr const char* FINDINGS_REL = ".diagnostics/structure_findings.json";

/// A list of objects with `code`, `severity`, `message`, `atoms` and `source`.
STRUCTURE_INGEST_API Json findings_list(std::span<const Finding> findings);

/// The findings of one file of a batch.
struct FileFindings {
  std::string source_path;
  std::string sha256;  // the fingerprint of the record; empty for a file that cannot be read
  std::vector<Finding> findings;
};

/// The document of a batch: `version` 1 and `structures`, one object a file with `source_path`,
/// `sha256` and `findings`, files without findings included. docs/schema/findings.schema.json
/// describes it.
STRUCTURE_INGEST_API Json findings_json(std::span<const FileFindings> files);

}  // namespace structure_ingest
