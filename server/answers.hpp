// The parts of which answers are made.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "server/call.hpp"
#include "server/tools.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace server {

/// The structure file that the argument `path` names. Throws ToolError for one that is not there or
/// is none of a structure by its name: both are most probably a slip of the caller.
std::string file_to_read(const Workspace& workspace, const Json& arguments);

/// What to do next about a file that gave no structure.
inline constexpr const char* NOT_READ =
    "The file gave no structure: read its warnings to the user and ask for another file. Do not "
    "build the structure from what you know.";

/// Adds the `uri` of the file that an object of an answer is about, if its name has characters that
/// answers escape: by the escaped `path` it could not be named in a call.
void add_uri(Json& object, const std::string& path);

/// Adds a structure to an answer: its JSON, what there is to say of it, and where its copy is.
void add_structure(Answer& answer, const structure_ingest::ProjectStructure& structure,
                   const std::string& project, const std::string& heading);

/// Adds the files that were passed over; the first 100 of them.
void add_skipped(Answer& answer, std::span<const structure_ingest::SkippedFile> skipped, int limit);

/// "'/data/water.xyz': H2O, 3 atoms, no cell".
std::string line_on(const structure_ingest::IngestedStructure& record);
std::string line_on(const structure_ingest::ProjectStructure& structure);

/// "  warning: ...", one line for each warning of a record, and for each finding that is no note.
std::vector<std::string> lines_below(bool ok, std::span<const std::string> warnings,
                                     std::span<const structure_ingest::Finding> findings);

/// What to do about a structure that has no cell, with a blank behind it; empty for one that has.
std::string next_without_cell(const structure_ingest::IngestedStructure& record);

/// Which part of a long list an answer holds.
struct Page {
  std::size_t offset;
  std::size_t limit;
  std::size_t total;

  /// The first element on the page, and the one behind it.
  std::size_t begin() const { return std::min(offset, total); }
  std::size_t end() const { return begin() + std::min(limit, total - begin()); }
  bool is_last() const { return end() == total; }
  /// Where the next page begins; null behind the last one.
  Json next() const { return is_last() ? Json() : Json(end()); }
};

/// The page that the arguments `offset` and `limit` ask for.
Page page_of(const Json& arguments, std::size_t total);

/// Adds `total`, `offset` and `next_offset`.
void add_page(Json& data, const Page& page);

/// How to get the page behind this one, for a next step: a model may see the text alone.
std::string way_to_next(const Page& page, const std::string& argument);

}  // namespace server
