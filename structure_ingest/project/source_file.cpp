#include "structure_ingest/project/source_file.hpp"

#include <exception>

namespace structure_ingest::internal {

std::string candidate_path(const std::string& text, const std::string& project) {
  if (text.starts_with('~')) {
    try {
      return join_path(project, expand_home(text));
    } catch (const std::exception&) {
      // No such home directory: take "~" literally below.
    }
  }
  return join_path(project, text);
}

std::string shown_path(const std::string& text, const std::string& project) {
  try {
    return candidate_path(text, project);
  } catch (const std::exception&) {
    return text;
  }
}

SourceFile source_file(const std::string& path, PathResolver& resolver) {
  SourceFile source{.path = path, .resolved = resolver.resolve(path), .identity = {}};
  source.identity = source_identity(source.resolved);
  return source;
}

}  // namespace structure_ingest::internal
