#include "server/tools.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "server/tool_error.hpp"
#include "structure_ingest/base/words.hpp"

namespace server {

/// The text of tool_definitions.json. See cmake/embed.cmake.
std::string_view embedded_text(std::string_view name);

namespace {

namespace base = structure_ingest::internal;

constexpr std::array TOOLS = {
    Tool{"parse_structure", false, parse_structure},
    Tool{"check_structure", false, check_structure},
    Tool{"scan_workspace", false, scan_workspace},
    Tool{"ingest_structures", true, ingest_structures},
    Tool{"hydrate_project", true, hydrate_project},
    Tool{"list_structures", false, list_structures},
    Tool{"verify_project", false, verify_project},
    Tool{"forget_structure", true, forget_structure},
    Tool{"explain_finding", false, explain_finding},
    Tool{"picture_of_structure", false, picture_of_structure},
};

const Json& definition_of(std::string_view name) {
  static const Json all = structure_ingest::parse_json(embedded_text("tool_definitions.json"));
  return *std::find_if(all.begin(), all.end(),
                       [&](const Json& definition) { return definition["name"] == name; });
}

/// What a value must be, by its schema.
std::string demand_of(const Json& schema) {
  if (schema.contains("enum")) {
    std::string words;
    for (const Json& word : schema["enum"]) words += (words.empty() ? "" : ", ") + word.dump();
    return "one of " + words;
  }
  const auto type = schema.at("type").get<std::string>();
  if (type == "boolean") return "true or false";
  if (type == "string") return "a string that is not empty";
  if (type == "array") {
    return "a list of " + std::to_string(schema.value("minItems", 0)) + " to " +
           schema.at("maxItems").dump() + " elements, each " + demand_of(schema.at("items"));
  }
  return "an integer from " + schema.at("minimum").dump() + " on" +
         (schema.contains("maximum") ? ", up to " + schema["maximum"].dump() : "");
}

/// Whether a number is one by JSON Schema, for which 1.0 is an integer.
bool is_integer(const Json& value) {
  constexpr double MOST = 1U << 31U;
  if (!value.is_number_float()) return value.is_number_integer();
  const auto number = value.get<double>();
  return std::abs(number) < MOST && std::trunc(number) == number;
}

bool fits(const Json& value, const Json& schema) {
  if (schema.contains("enum")) {
    const Json& words = schema["enum"];
    return std::find(words.begin(), words.end(), value) != words.end();
  }
  const auto type = schema.at("type").get<std::string>();
  if (type == "boolean") return value.is_boolean();
  if (type == "string") return value.is_string() && !value.get_ref<const std::string&>().empty();
  if (type == "array") {
    return value.is_array() && value.size() >= schema.value("minItems", std::size_t{0}) &&
           value.size() <= schema.at("maxItems").get<std::size_t>() &&
           std::all_of(value.begin(), value.end(),
                       [&](const Json& element) { return fits(element, schema.at("items")); });
  }
  return is_integer(value) && value >= schema.at("minimum") &&
         !(schema.contains("maximum") && value > schema["maximum"]);
}

}  // namespace

const Tool* find_tool(std::string_view name, bool is_read_only) {
  const auto* const tool = std::find_if(TOOLS.begin(), TOOLS.end(), [&](const Tool& each) {
    return each.name == name && !(is_read_only && each.is_writing);
  });
  return tool == TOOLS.end() ? nullptr : tool;
}

Json list_of_tools(bool is_read_only) {
  Json list = Json::array();
  for (const Tool& tool : TOOLS) {
    if (!(is_read_only && tool.is_writing)) list.push_back(definition_of(tool.name));
  }
  return list;
}

Json checked_arguments(const Tool& tool, const Json& arguments) {
  const Json& schema = definition_of(tool.name).at("inputSchema");
  const Json& known = schema.at("properties");
  std::string problems;
  const auto complain = [&problems](const std::string& problem) {
    problems += (problems.empty() ? "" : "; ") + problem;
  };
  for (const Json& name : schema.at("required")) {
    if (!arguments.contains(name.get<std::string>())) {
      complain("the argument '" + name.get<std::string>() + "' is missing");
    }
  }
  Json checked = Json::object();
  for (const auto& [name, value] : arguments.items()) {
    if (!known.contains(name)) {
      complain("there is no argument " + base::quoted_form(base::shortened(name, 100)));
      continue;
    }
    if (!fits(value, known[name])) {
      complain("the argument '" + name + "' must be " + demand_of(known[name]));
    }
    checked[name] = value;
  }
  if (!problems.empty()) {
    std::string names;
    for (const auto& [name, property] : known.items()) {
      names += (names.empty() ? "" : ", ") + name;
    }
    throw ToolError(std::string(tool.name) + " was not called: " + problems +
                    ". Its arguments are " + names + ": correct the call and repeat it.");
  }
  for (const auto& [name, property] : known.items()) {
    if (!checked.contains(name) && property.contains("default")) {
      checked[name] = property["default"];
    }
  }
  return checked;
}

Json escaped(const Json& value) {
  if (value.is_string()) return base::printable_form(value.get_ref<const std::string&>());
  if (!value.is_structured()) return value;
  Json result = value;
  for (Json& element : result) element = escaped(element);
  return result;
}

}  // namespace server
