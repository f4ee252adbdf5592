#include "structure_ingest/base/replace_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "structure_ingest/base/open_file.hpp"
#include "structure_ingest/base/path.hpp"
#include "structure_ingest/base/temporary_file.hpp"

namespace structure_ingest::internal {
namespace {

/// Gives a new file the owner, the group and the permissions of the old one.
void take_over_access(const Descriptor& file, const struct stat& old) {
  mode_t mode = old.st_mode & 0777;
  // Only root can give a file away. Others may give it a group that they belong to.
  const bool has_old_group = fchown(file.number(), old.st_uid, old.st_gid) == 0 ||
                             fchown(file.number(), static_cast<uid_t>(-1), old.st_gid) == 0;
  // What the old group was allowed must not be allowed to another group: it gets what all get.
  if (!has_old_group) mode &= 0707 | (mode & 0007) << 3;
  static_cast<void>(fchmod(file.number(), mode));
}

/// Replaces the file `name` in `folder`; errors name it by `path`.
void replace_in(const Descriptor& folder, const std::string& name, std::string_view content,
                const std::string& path) {
  struct stat old {};
  const bool keeps_access =
      fstatat(folder.number(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0 &&
      S_ISREG(old.st_mode);
  // Nobody else may open the file before it has the old one's permissions.
  TemporaryFile temporary(folder, path, keeps_access ? 0600 : 0666);
  if (keeps_access) take_over_access(temporary.descriptor(), old);
  temporary.write(content);
  temporary.move_to(name);
  Descriptor readable = open_at(folder.number(), ".", O_RDONLY | O_DIRECTORY);
  // A folder that may be written but not read cannot be synced, and some file systems cannot sync
  // folders; the new name is in place all the same.
  if (!readable.is_open()) return;
  fsync(readable.number());
  remove_old_temporary_files(std::move(readable));
}

}  // namespace

void replace_file(const std::string& path, std::string_view content) {
  const std::string normal = path_text(c_path(path));
  replace_in(open_folder_of(path, AT_FDCWD, parent_folder(normal)), file_name(normal), content,
             path);
}

void replace_file_beneath(const std::string& root, const std::string& relative,
                          std::string_view content) {
  const std::string path = join_path(root, relative);
  create_folders(root);
  Descriptor folder = open_at(AT_FDCWD, root, O_PATH | O_DIRECTORY);
  if (!folder.is_open()) throw_file_error("cannot write", path);
  std::size_t start = 0;
  for (std::size_t slash = 0; (slash = relative.find('/', start)) != std::string::npos;
       start = slash + 1) {
    const std::string name = relative.substr(start, slash - start);
    if (mkdirat(folder.number(), name.c_str(), 0777) != 0 && errno != EEXIST) {
      throw_file_error("cannot write", path);
    }
    folder = open_folder_of(path, folder.number(), name);
  }
  replace_in(folder, relative.substr(start), content, path);
}

void create_folders(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(c_path(path), error);
  if (error) throw_file_error("cannot create directories", path, error.value());
}

}  // namespace structure_ingest::internal
