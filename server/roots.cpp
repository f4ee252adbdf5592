#include "server/roots.hpp"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "collaborators/agent_modules/project_state.hpp"
#include "server/call.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace server {
namespace {

namespace base = structure_ingest::internal;

std::string list_of(const std::vector<std::string>& folders) {
  std::string text;
  for (const std::string& folder : folders) {
    text += (text.empty() ? "" : ", ") + in_quotes(base::utf8_text(folder));
  }
  return text;
}

bool exists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

}  // namespace

Roots::Roots(const std::vector<std::string>& folders) {
  for (const std::string& folder : folders) {
    if (folder.empty()) throw std::runtime_error("--root: the name is empty");
    std::string resolved = base::resolve_path(folder);
    if (!base::is_directory(resolved)) {
      throw std::runtime_error("--root: " + folder + ": not a directory");
    }
    const bool is_new = std::find(folders_.begin(), folders_.end(), resolved) == folders_.end();
    if (is_new) folders_.push_back(std::move(resolved));
  }
}

bool Roots::hold(const std::string& path) const {
  const std::string resolved = base::resolve_path(path);
  return std::any_of(folders_.begin(), folders_.end(), [&resolved](const std::string& folder) {
    return base::is_within(resolved, folder);
  });
}

std::string Roots::locate(const std::string& given) const {
  const auto refuse = [&](const std::string& why) -> ToolError {
    return ToolError("The path " + in_quotes(given) + " " + why + " The roots are " +
                     list_of(folders_) + ".");
  };
  if (given.empty()) throw ToolError("The path is empty: name a file or folder below a root.");
  if (given.find('\0') != std::string::npos) throw refuse("holds a NUL character.");
  std::string path = given;
  if (given.starts_with("file:")) {
    path = path_of_uri(given);
    if (path.empty()) throw refuse("is not the URI of a file on this machine.");
  } else if (given.starts_with('~')) {
    path = base::expand_home(given);
  }
  if (!base::is_absolute(path)) {
    std::vector<std::string> places;
    for (const std::string& folder : folders_) {
      if (exists(base::join_path(folder, path))) places.push_back(base::join_path(folder, path));
    }
    if (places.size() > 1) throw refuse("is relative and there in several roots: give it whole.");
    if (places.empty() && folders_.size() > 1) {
      throw refuse("is relative and there in none of the roots: give it whole.");
    }
    path = places.empty() ? base::join_path(folders_.front(), path) : places.front();
  }
  path = base::absolute_path(path);
  if (!hold(path)) {
    throw refuse(
        "lies outside the roots, or a link leads outside. Nothing there is read or written: ask "
        "the user to put the file below a root, or to start the server with another --root.");
  }
  return path;
}

bool Roots::may_read(const std::string& path) const {
  if (!hold(path)) return false;
  const std::string folder = base::parent_folder(path);
  std::error_code error;
  std::filesystem::directory_iterator entry(folder, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    std::error_code ignored;
    if (!entry->is_symlink(ignored) ||
        !structure_ingest::is_companion_name(entry->path().filename().string()))
      continue;
    if (!hold(entry->path().string())) return false;
  }
  return true;
}

std::string Roots::locate_structure(const std::string& given) const {
  std::string path = locate(given);
  if (!may_read(path)) {
    throw ToolError("The file " + in_quotes(given) +
                    " is not read: beside it lies a link, called scf.input, POTCAR or OUTCAR, that "
                    "leads outside the roots. Ask the user to replace the link by the file.");
  }
  return path;
}

std::string Roots::locate_project(const std::string& given) const {
  std::string project = base::resolve_path(locate(given));
  if (exists(project) && !base::is_directory(project)) {
    throw ToolError("The project " + in_quotes(given) +
                    " is a file: name the folder of a project.");
  }
  for (const std::string_view inside :
       {std::string_view(agent_modules::PROJECT_STATE), structure_ingest::INGEST_MANIFEST_REL,
        structure_ingest::FINDINGS_REL, structure_ingest::INGESTED_DIRNAME}) {
    if (hold(base::join_path(project, inside))) continue;
    throw ToolError("The project " + in_quotes(given) + " is not used: its " + std::string(inside) +
                    " is a link that leads outside the roots. Tell the user of it.");
  }
  const std::string copies = base::join_path(project, structure_ingest::INGESTED_DIRNAME);
  if (!may_read(base::join_path(copies, "ingested_any.xyz"))) {
    throw ToolError(
        "The project " + in_quotes(given) +
        " is not used: among its copies lies a link, called scf.input, POTCAR or OUTCAR, "
        "that leads outside the roots. Tell the user of it.");
  }
  return project;
}

std::string file_uri(std::string_view path) {
  constexpr std::string_view HEX = "0123456789ABCDEF";
  constexpr std::string_view PLAIN =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  std::string uri = "file://";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (PLAIN.find(c) != std::string_view::npos) {
      uri += c;
    } else {
      uri.append({'%', HEX[byte >> 4], HEX[byte & 0xF]});
    }
  }
  return uri;
}

std::string path_of_uri(std::string_view uri) {
  constexpr std::string_view LOCAL = "file://localhost/";
  if (uri.starts_with(LOCAL)) {
    uri.remove_prefix(LOCAL.size() - 1);
  } else if (uri.starts_with("file:///")) {
    uri.remove_prefix(7);
  } else if (uri.starts_with("file:/") && !uri.starts_with("file://")) {
    uri.remove_prefix(5);
  } else {
    return {};
  }
  std::string path;
  for (std::size_t i = 0; i < uri.size(); ++i) {
    if (uri[i] == '?' || uri[i] == '#') return {};
    if (uri[i] != '%') {
      path += uri[i];
      continue;
    }
    const std::string_view digits = uri.substr(i + 1, 2);
    unsigned char byte = 0;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), byte, 16);
    if (digits.size() < 2 || end != digits.end()) return {};
    path += static_cast<char>(byte);
    i += 2;
  }
  return path.find('\0') == std::string::npos ? path : std::string();
}

}  // namespace server
