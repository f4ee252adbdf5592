#include "collaborators/agent_modules/atomic_io.hpp"

#include <filesystem>
#include <system_error>

#include "structure_ingest/base/folder_lock.hpp"
#include "structure_ingest/base/input_file.hpp"
#include "structure_ingest/base/json_memory.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/replace_file.hpp"

namespace agent_modules {

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
                 const std::function<void(Json&)>& change, std::chrono::milliseconds most_wait) {
  // The folder may be reached through links: it is the caller's own choice.
  const std::string given = base::path_text(path);
  const std::string folder = base::resolve_path(base::parent_folder(given));
  const base::FolderLock lock(folder, most_wait);
  Json value = read_json(path, missing);
  const base::TakenApart value_at_end(value);
  // Texts are compared, not values: a copy of a large value takes several times the room.
  const std::string before = structure_ingest::json_text(value, 2);
  change(value);
  std::string after = structure_ingest::json_text(value, 2);
  if (after != before)
    base::replace_file(base::join_path(folder, base::file_name(given)), after += '\n');
}

}  // namespace agent_modules
