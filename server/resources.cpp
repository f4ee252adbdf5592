#include "server/resources.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "server/call.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace server {
namespace {

namespace base = structure_ingest::internal;

/// A kind of resource, as clients are told of it.
struct Kind {
  std::string_view relative;  // to the project: a file, or the folder of the copies
  const char* title;
  const char* description;
  const char* type;
};

constexpr Kind COPY = {
    structure_ingest::INGESTED_DIRNAME, "Structure",
    "A canonical copy with exact positions in ångström. Give the file to whatever "
    "calculates; never retype its numbers.",
    "chemical/x-xyz"};
constexpr const char* JSON_TYPE = "application/json";
constexpr std::array DOCUMENTS = {
    Kind{structure_ingest::INGEST_MANIFEST_REL, "Manifest",
         "The latest batch of structures that were taken into the project.", JSON_TYPE},
    Kind{structure_ingest::FINDINGS_REL, "Findings",
         "What would mislead a calculation in the structures of the project.", JSON_TYPE},
};

/// The size of a regular file that is no link.
std::optional<std::uint64_t> size_of(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(status.st_size);
}

/// What a path is in the project that it would lie in.
struct Place {
  std::string project;
  const Kind& kind;
};

std::optional<Place> place_of(const std::string& path) {
  for (const Kind& document : DOCUMENTS) {
    const std::string ending = "/" + std::string(document.relative);
    if (path.ends_with(ending)) {
      return Place{path.substr(0, path.size() - ending.size()), document};
    }
  }
  const std::size_t folder = path.rfind("/" + std::string(COPY.relative) + "/");
  if (folder == std::string::npos || !structure_ingest::is_copy_path(path.substr(folder + 1))) {
    return std::nullopt;
  }
  return Place{path.substr(0, folder), COPY};
}

Json description_of(const std::string& uri) {
  const std::string path = path_of_uri(uri);
  const auto [project, kind] = *place_of(path);
  Json description = {{"uri", uri},
                      {"name", base::file_name(path)},
                      {"title", std::string(kind.title) + " of " + base::file_name(project)},
                      {"description", kind.description},
                      {"mimeType", kind.type}};
  if (const auto size = size_of(path)) description["size"] = *size;
  return description;
}

Json template_of(const Kind& kind, const std::string& name, const std::string& rest) {
  return {{"uriTemplate", "file://{+project}/" + std::string(kind.relative) + rest},
          {"name", name},
          {"title", kind.title},
          {"description", kind.description},
          {"mimeType", kind.type}};
}

/// The URIs of all resources of the projects below the roots.
std::vector<std::string> resource_uris(Workspace& workspace, const Call& call) {
  std::vector<std::string> uris;
  for (const std::string& project : workspace.projects(call)) {
    const auto add = [&](std::string_view relative) {
      const std::string path = base::join_path(project, relative);
      if (size_of(path) && workspace.roots().hold(path)) uris.push_back(file_uri(path));
    };
    for (const Kind& document : DOCUMENTS) add(document.relative);
    for (const std::string& copy : structure_ingest::copies_in(project)) add(copy);
  }
  return uris;
}

/// The text of a JSON document in which each character that cannot be printed is written as an
/// escape of JSON's own: the document stays the same.
std::string escaped_json(std::string_view text) {
  static constexpr std::string_view HEX = "0123456789abcdef";
  std::string out;
  const auto append_unit = [&out](std::uint32_t unit) {
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) out += HEX[unit >> shift & 15];
  };
  for (std::size_t at = 0; at < text.size();) {
    const base::Character character = base::character_at(text, at);
    const std::string_view bytes = text.substr(at, character.length);
    at += character.length;
    if (bytes == "\n" || base::printable_form(bytes) == bytes) {
      out += bytes;
    } else if (character.value >= 0x10000) {
      append_unit(0xD800 + ((character.value - 0x10000) >> 10));
      append_unit(0xDC00 + ((character.value - 0x10000) & 0x3FF));
    } else {
      append_unit(character.value);
    }
  }
  return out;
}

/// Whether a text holds nothing that a reader would not see, line ends aside.
bool is_plain(std::string_view text) {
  std::string line(text);
  std::replace(line.begin(), line.end(), '\n', ' ');
  return base::printable_form(line) == line;
}

}  // namespace

std::optional<Json> list_of_resources(Workspace& workspace, std::string_view cursor,
                                      const Call& call) {
  // The cursor is the last URI of the page before: it also fits a list that has changed since.
  if (!cursor.empty() && path_of_uri(cursor).empty()) return std::nullopt;
  if (cursor.empty()) workspace.drop_projects();
  std::vector<std::string> uris = resource_uris(workspace, call);
  std::sort(uris.begin(), uris.end());
  auto from = std::upper_bound(uris.begin(), uris.end(), cursor);
  if (cursor.empty()) from = uris.begin();
  Json list = Json::array();
  for (; from != uris.end() && list.size() < RESOURCES_PER_PAGE; ++from) {
    list.push_back(description_of(*from));
  }
  Json result = {{"resources", list}};
  if (from != uris.end()) result["nextCursor"] = list.back()["uri"];
  return result;
}

Json list_of_templates() {
  Json list = Json::array({template_of(COPY, "copy", "/{name}")});
  list[0]["title"] = "Structure of a project";
  for (const Kind& document : DOCUMENTS) {
    list.push_back(template_of(document, base::file_name(document.relative), ""));
  }
  return {{"resourceTemplates", list}};
}

Json read_resource(const Workspace& workspace, const std::string& uri) {
  const std::string path = path_of_uri(uri);
  const std::string about = "The resource " + in_quotes(uri) + " ";
  const std::optional<Place> place = place_of(path);
  if (!place || path != base::path_text(path) || path.find("/../") != std::string::npos) {
    throw ToolError(about +
                    "is none: call resources/list for those there are. A structure file is read "
                    "with the tool parse_structure.");
  }
  if (!workspace.roots().hold(path)) throw ToolError(about + "lies outside the roots.");
  const std::optional<std::uint64_t> size = size_of(path);
  if (!size) throw ToolError(about + "does not exist: call resources/list for those there are.");
  if (*size > MOST_RESOURCE_BYTES) {
    throw ToolError(about + "is too large to be sent (" + std::to_string(*size) +
                    " bytes): give its path to the program that needs it.");
  }
  std::string text;
  try {
    text = base::read_file(path);
  } catch (const std::system_error& error) {
    throw ToolError(about + "cannot be read: " + error.what());
  }
  Json content = {{"uri", uri}, {"mimeType", place->kind.type}};
  const bool is_text = base::valid_utf8_prefix(text) == text.size();
  if (is_text && &place->kind != &COPY) {
    content["text"] = escaped_json(text);
  } else if (is_text && is_plain(text)) {
    content["text"] = text;
  } else {
    content["blob"] = base::base64(text);  // every byte as it is, and nothing that would be misread
  }
  return {{"contents", Json::array({content})}};
}

Json link_to_copy(const std::string& path) {
  return {{"type", "resource_link"},
          {"uri", file_uri(path)},
          {"name", base::file_name(path)},
          {"mimeType", COPY.type}};
}

}  // namespace server
