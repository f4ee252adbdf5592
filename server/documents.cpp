#include "server/documents.hpp"

#include <map>
#include <stdexcept>
#include <string>

namespace server {
namespace {

using structure_ingest::Json;

constexpr const char* DEFINITIONS = "tool_definitions.json";

const Json& document_called(const std::string& name) {
  static std::map<std::string, Json> documents;
  const auto known = documents.find(name);
  if (known != documents.end()) return known->second;
  return documents.emplace(name, structure_ingest::parse_json(document_text(name))).first->second;
}

/// A schema without references. `home` is the document that it stands in.
Json inlined(const Json& schema, const std::string& home) {
  if (schema.is_array()) {
    Json list = Json::array();
    for (const Json& element : schema) list.push_back(inlined(element, home));
    return list;
  }
  if (!schema.is_object()) return schema;
  Json result = Json::object();
  if (const auto reference = schema.find("$ref"); reference != schema.end()) {
    const auto text = reference->get<std::string>();
    const std::size_t mark = text.find('#');
    const std::string name = mark == 0 ? home : text.substr(0, mark);
    result = inlined(document_called(name).at(Json::json_pointer(text.substr(mark + 1))), name);
  }
  for (const auto& [key, value] : schema.items()) {
    if (key != "$ref") result[key] = inlined(value, home);
  }
  return result;
}

}  // namespace

const Json& tool_definitions() {
  static const Json tools = inlined(document_called(DEFINITIONS).at("tools"), DEFINITIONS);
  return tools;
}

}  // namespace server
