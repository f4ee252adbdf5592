#include "structure_ingest/base/paths.hpp"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <vector>

#include "structure_ingest/base/words.hpp"

namespace structure_ingest::internal {
namespace {

/// Linux follows this many links in one path before it reports a loop.
constexpr int MAX_LINKS = 40;

/// Removes the first component from `rest`, with the separators around it; empty at the end.
std::string_view next_component(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
  const std::string_view component = rest.substr(0, rest.find('/'));
  rest.remove_prefix(component.size());
  return component;
}

void append_component(std::string& path, std::string_view component) {
  if (path.empty() || path.back() != '/') path += '/';
  path += component;
}

void remove_last_component(std::string& absolute_path) {
  absolute_path.erase(std::max<std::size_t>(absolute_path.rfind('/'), 1));
}

std::string absolute(std::string_view path) {
  return is_absolute(path) ? std::string(path)
                           : join_path(std::filesystem::current_path().native(), path);
}

std::string without_dots(std::string_view absolute_path) {
  std::string out = "/";
  for (std::string_view rest = absolute_path;;) {
    const std::string_view component = next_component(rest);
    if (component.empty()) return out;
    if (component == "..") {
      remove_last_component(out);
    } else if (component != ".") {
      append_component(out, component);
    }
  }
}

void refuse_nul(std::string_view path) {
  if (path.find('\0') != std::string_view::npos) throw NulInPath(path);
}

/// The target of the symbolic link at `path`; nothing when there is no link.
std::optional<std::string> link_target(const std::string& path) {
  std::string target(256, '\0');
  for (;;) {
    const ssize_t length = readlink(path.c_str(), target.data(), target.size());
    if (length < 0) return std::nullopt;
    if (static_cast<std::size_t>(length) < target.size()) {
      target.resize(static_cast<std::size_t>(length));
      return target;
    }
    target.resize(2 * target.size());
  }
}

/// Follows the links in an absolute path; nothing when there are more than the system follows.
std::optional<std::string> with_links_followed(const std::string& absolute_path) {
  std::string resolved = "/";
  std::string rest_text = absolute_path;
  std::string_view rest = rest_text;
  int links = 0;
  for (;;) {
    const std::string_view component = next_component(rest);
    if (component.empty()) return resolved;
    if (component == ".") continue;
    if (component == "..") {
      remove_last_component(resolved);
      continue;
    }
    const std::size_t folder_size = resolved.size();
    append_component(resolved, component);
    const std::optional<std::string> target = link_target(resolved);
    if (!target) continue;
    if (++links > MAX_LINKS) return std::nullopt;
    resolved.resize(is_absolute(*target) ? 1 : folder_size);
    rest_text = *target + "/" + std::string(rest);
    rest = rest_text;
  }
}

std::optional<std::string> home_of(const std::string& user) {
  if (user.empty()) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): this only reads the environment.
    const char* const home = std::getenv("HOME");
    if (home != nullptr && *home != '\0') return home;
  }
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  for (;;) {
    const int error = user.empty()
                          ? getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found)
                          : getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found);
    if (error != ERANGE) break;
    buffer.resize(2 * buffer.size());
  }
  if (found == nullptr) return std::nullopt;
  return found->pw_dir;
}

bool has_type(const std::string& path, mode_t type) {
  if (path.find('\0') != std::string::npos) return false;
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == type;
}

}  // namespace

NulInPath::NulInPath(std::string_view refused)
    : std::invalid_argument("a path cannot hold a NUL character: " + quoted_form(refused)),
      path(refused) {}

std::string path_text(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  if (is_absolute(text)) out = "/";
  for (std::string_view rest = text;;) {
    const std::string_view component = next_component(rest);
    if (component.empty()) break;
    if (component == ".") continue;
    if (!out.empty() && out != "/") out += '/';
    out += component;
  }
  return out.empty() ? "." : out;
}

std::string_view last_component(std::string_view path) {
  for (;;) {
    const std::size_t end = path.find_last_not_of('/');
    if (end == std::string_view::npos) return {};
    path = path.substr(0, end + 1);
    const std::string_view component =
        path.substr(path.rfind('/') + 1);  // npos + 1 is 0: the whole path
    if (component != ".") return component;
    path.remove_suffix(1);
  }
}

std::string file_name(std::string_view path) {
  return std::string(last_component(path));
}

std::string parent_folder(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return ".";
  return std::string(path.substr(0, std::max<std::size_t>(slash, 1)));
}

bool is_absolute(std::string_view path) {
  return !path.empty() && path.front() == '/';
}

std::string join_path(std::string_view folder, std::string_view path) {
  if (is_absolute(path)) return path_text(path);
  return path_text(std::string(folder) + "/" + std::string(path));
}

bool is_within(std::string_view path, std::string_view folder) {
  if (!path.starts_with(folder)) return false;
  return path.size() == folder.size() || folder == "/" || path[folder.size()] == '/';
}

std::string expand_home(std::string_view path) {
  refuse_nul(path);
  std::string text = path_text(path);
  if (text.front() != '~') return text;
  const std::size_t end = std::min(text.find('/'), text.size());
  const std::optional<std::string> home = home_of(text.substr(1, end - 1));
  if (!home || home->empty())
    throw std::runtime_error("no home directory is known for " + quoted_form(text));
  return path_text(*home + text.substr(end));
}

std::string resolve_path(std::string_view path) {
  refuse_nul(path);
  const std::string start = absolute(path);
  const std::optional<std::string> resolved = with_links_followed(start);
  return resolved ? *resolved : without_dots(start);
}

std::string absolute_path(std::string_view path) {
  refuse_nul(path);
  const std::string whole = absolute(path);
  std::string normal = without_dots(whole);
  if (whole.find("/..") == std::string::npos) return normal;
  const std::string resolved = resolve_path(whole);
  return resolve_path(normal) == resolved ? normal : resolved;
}

std::string expanded_and_resolved(std::string_view path) {
  return resolve_path(expand_home(path));
}

/// The resolved folder of a path: that of the folder above it and one look for a link.
const std::optional<std::string>& PathResolver::folder_of(const std::string& path) {
  const std::string folder = parent_folder(path);
  if (const auto known = folders_.find(folder); known != folders_.end()) return known->second;
  const std::string name = file_name(folder);
  std::optional<std::string> resolved;
  // No folder has so long a name, and each step takes some of the stack.
  if (!name.empty() && name != ".." && folder.size() < PATH_MAX) {
    resolved = folder_of(folder);
    if (resolved) append_component(*resolved, name);
    if (resolved && link_target(*resolved)) resolved.reset();
  }
  if (!resolved) resolved = with_links_followed(folder);
  return folders_.emplace(folder, std::move(resolved)).first->second;
}

std::string PathResolver::resolve(std::string_view path) {
  refuse_nul(path);
  if (!is_absolute(path) && current_folder_.empty()) {
    current_folder_ = std::filesystem::current_path().native();
  }
  const std::string whole = is_absolute(path) ? path_text(path) : join_path(current_folder_, path);
  const std::string name = file_name(whole);
  if (name.empty() || name == "..") return resolve_path(whole);
  const std::optional<std::string>& folder = folder_of(whole);
  if (!folder) return resolve_path(whole);
  std::string resolved = *folder;
  append_component(resolved, name);
  return link_target(resolved) ? resolve_path(whole) : resolved;
}

std::string source_identity(std::string_view resolved_path) {
  return case_folded(resolved_path);
}

bool is_regular_file(const std::string& path) {
  return has_type(path, S_IFREG);
}

bool is_directory(const std::string& path) {
  return has_type(path, S_IFDIR);
}

}  // namespace structure_ingest::internal
