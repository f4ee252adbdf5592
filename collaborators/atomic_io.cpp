#include "collaborators/atomic_io.hpp"

#include <filesystem>
#include <system_error>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/path.hpp"

namespace qelda_agent {

namespace base = structure_ingest::internal;
using structure_ingest::Json;

void atomic_write_json(const std::string& path, const Json& value) {
  base::create_folders(base::parent_folder(base::path_text(path)));
  base::replace_file(path, structure_ingest::json_text(value, 2) + '\n');
}

Json read_json(const std::string& path, const Json& missing) {
  try {
    return structure_ingest::parse_json(base::read_file(path));
  } catch (const std::filesystem::filesystem_error& error) {
    if (error.code() == std::errc::no_such_file_or_directory) return missing;
    throw;
  }
}

void update_json(const std::string& path, const Json& missing,
                 const std::function<void(Json&)>& change) {
  const base::FolderLock lock(base::parent_folder(base::path_text(path)));
  const Json before = read_json(path, missing);
  Json value = before;
  change(value);
  if (value != before) atomic_write_json(path, value);
}

}  // namespace qelda_agent
