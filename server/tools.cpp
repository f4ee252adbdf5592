#include "server/tools.hpp"

#include <algorithm>
#include <array>

#include "server/documents.hpp"
#include "server/tool_error.hpp"
#include "structure_ingest/base/text.hpp"

namespace server {
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
};

const Json& definition_of(std::string_view name) {
  const Json& all = tool_definitions();
  return *std::find_if(all.begin(), all.end(),
                       [&](const Json& definition) { return definition["name"] == name; });
}

/// What a value must be, by its schema, in words; empty when it is.
std::string demand_on(const Json& value, const Json& schema) {
  const auto type = schema.at("type").get<std::string>();
  if (type == "boolean") return value.is_boolean() ? "" : "must be true or false";
  if (type == "string") {
    const bool fits = value.is_string() && !(schema.contains("minLength") && value == "");
    return fits ? "" : "must be a string that is not empty";
  }
  if (type == "integer") {
    const Json& least = schema.at("minimum");
    const bool has_most = schema.contains("maximum");
    const bool fits =
        value.is_number_integer() && value >= least && !(has_most && value > schema["maximum"]);
    return fits ? ""
                : "must be an integer from " + least.dump() + " on" +
                      (has_most ? ", up to " + schema["maximum"].dump() : "");
  }
  const std::size_t least = schema.value("minItems", std::size_t{0});
  const std::size_t most = schema.at("maxItems").get<std::size_t>();
  const bool fits = value.is_array() && value.size() >= least && value.size() <= most &&
                    std::all_of(value.begin(), value.end(), [&schema](const Json& element) {
                      return demand_on(element, schema.at("items")).empty();
                    });
  return fits ? ""
              : "must be a list of " + std::to_string(least) + " to " + std::to_string(most) +
                    " strings that are not empty";
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
    const std::string demand = demand_on(value, known[name]);
    if (!demand.empty()) complain("the argument '" + name + "' " + demand);
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
