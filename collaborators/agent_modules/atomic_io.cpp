#include "collaborators/agent_modules/atomic_io.hpp"

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "structure_ingest/base/durable.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/paths.hpp"

namespace agent_modules {

namespace base = structure_ingest::internal;
using structure_ingest::Json;

namespace {

/// Throws if a text of this size could not be read again: an unreadable state would be lost.
void require_readable(std::size_t size, const std::string& path) {
  if (size <= base::MAX_WHOLE_FILE) return;
  base::throw_file_error("cannot write what could not be read again", path, EFBIG);
}

}  // namespace

void atomic_write_json(const std::string& path, const Json& value) {
  atomic_write_text(path, [&](const TextSink& take) { base::take_json_text(value, 2, take); });
}

void atomic_write_text(const std::string& path, const std::function<void(const TextSink&)>& text) {
  base::create_folders(base::parent_folder(base::path_text(path)));
  base::replace_file(path, [&](const TextSink& take) {
    std::size_t size = 0;
    const auto add = [&](std::string_view piece) {
      require_readable(size += piece.size(), path);
      take(piece);
    };
    text(add);
    add("\n");
  });
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
  // Resolve first: the caller may reach the folder through links.
  const std::string given = base::path_text(path);
  const std::string folder = base::resolve_path(base::parent_folder(given));
  const base::FolderLock lock(folder, most_wait);
  Json value = read_json(path, missing);
  // Compare texts: copying a large value takes several times the memory.
  const std::string before = structure_ingest::json_text(value, 2) + '\n';
  change(value);
  const std::string after = structure_ingest::json_text(value, 2) + '\n';
  require_readable(after.size(), path);
  if (after != before) base::replace_file(base::join_path(folder, base::file_name(given)), after);
}

std::string malformed(const std::string& path, const std::string& what,
                      const structure_ingest::JsonError& error) {
  const std::string place =
      error.line == 0 ? "" : std::to_string(error.line) + ":" + std::to_string(error.column) + ":";
  return path + ":" + place + " " + what + error.reason;
}

}  // namespace agent_modules
