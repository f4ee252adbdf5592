// Tables of requests with wanted and unwanted structures, and the assessor's score on them.
#pragma once

#include <string>
#include <vector>

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/contracts/collaborators.hpp"

namespace relevance_cases {

/// A structure of a case, such as "+rutile.cif:O4Ti2"; "-" marks an unwanted one.
struct CaseStructure {
  std::string file;
  std::string formula;
  bool wanted = false;
};

struct Case {
  std::string language;
  std::string request;
  std::vector<CaseStructure> structures;
};

/// Reads a table with the columns language, request and structures. Throws std::runtime_error for a
/// malformed line.
std::vector<Case> read_cases(const std::string& path);

/// A source entry as ingestion creates it, with the fields that the assessor reads.
structure_ingest::Json entry_of(const std::string& file, const std::string& formula,
                                const std::string& discovery);

bool drops(const structure_ingest::RelevanceVerdict& verdict);

struct Score {
  int pairs = 0;
  int unwanted = 0;
  int dropped = 0;
  int wrongly_dropped = 0;
  std::vector<std::string> wrong;   // wanted and dropped
  std::vector<std::string> missed;  // not wanted and kept

  double precision() const;  // 1 where nothing is dropped
  double recall() const;
};

/// Judges each structure, with the others of its request or alone.
Score score_of(const std::vector<Case>& cases, const std::string& discovery, bool together);

}  // namespace relevance_cases
