// The relevance filter: drops structures that have plainly nothing to do with the request.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "collaborators/collaborators.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/discovery/dropped_structure.hpp"

namespace structure_ingest::internal {

/// What the user asked for in a state: trimmed, and empty for no request.
std::string request_in(const Json& state);

/// What the filter reads of a source entry.
struct EntryNames {
  std::string file_name;  // of the source file
  std::string path;       // of the canonical copy, or of the source
  std::string formula;
  std::string source_file{};
};

struct Filtered {
  std::vector<std::size_t> kept;  // places among the entries, in their order
  std::vector<DroppedStructure> dropped;
  RelevanceReport report;  // what the assessor said, if it was asked
};

/// Drops the entries that `assess` judges unrelated to the request with a confidence of at least
/// 0.8. Without a request or entries `assess` is not called; then, and when it fails, all are kept.
Filtered drop_unrelated(const std::vector<EntryNames>& entries, const std::string& request,
                        const std::string& role_unrelated,
                        const std::function<RelevanceReport()>& assess);

/// Why a structure was dropped, in words.
std::string reason_of(const DroppedStructure& dropped);

/// The note on a dropped structure.
std::string note_on(const DroppedStructure& dropped);

}  // namespace structure_ingest::internal
