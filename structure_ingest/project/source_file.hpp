// One candidate file: its path in every form in use, computed once and passed down.
#pragma once

#include <string>

#include "structure_ingest/base/paths.hpp"

namespace structure_ingest::internal {

/// No function that takes a SourceFile expands or resolves its path again.
struct SourceFile {
  std::string path;         // absolute, in normal form, links not followed: opened and shown
  std::string resolved;     // the same with links followed
  std::string identity;     // the resolved path, case-folded: equal for the same source
  std::string discovery{};  // how it was found; empty when not known
};

/// The absolute path of a candidate: a leading "~" is the home directory, and a relative path lies
/// under `project` (resolved). Where no such home directory is known, "~" is a folder of that name.
/// Throws std::invalid_argument for text with a NUL character.
std::string candidate_path(const std::string& text, const std::string& project);

/// The same for one that is only to be shown: text that makes no path comes back as it is.
std::string shown_path(const std::string& text, const std::string& project);

/// Makes the source file at an absolute path. Throws as `resolve_path`.
SourceFile source_file(const std::string& path, PathResolver& resolver);

}  // namespace structure_ingest::internal
