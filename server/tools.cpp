#include "server/tools.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <exception>
#include <new>
#include <system_error>

#include "server/resources.hpp"
#include "structure_ingest/base/digest.hpp"
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

Json text_content(const std::string& text) {
  return {{"type", "text"}, {"text", text}};
}

Json error_result(const std::string& message) {
  return {{"content", Json::array({text_content(base::printable_form(message))})},
          {"isError", true}};
}

Json result_of(const Answer& answer, bool is_structured) {
  Json data = answer.data;
  data["next_step"] = answer.next_step;
  data = escaped(data);
  std::string text;
  for (const std::string& line : answer.lines) text += base::printable_form(line) + "\n";
  Json content = Json::array({text_content(text + "Next: " + answer.next_step)});
  if (!answer.png.empty()) {
    content.push_back(
        {{"type", "image"}, {"data", base::base64(answer.png)}, {"mimeType", "image/png"}});
  }
  if (!is_structured) {
    content.push_back(text_content(structure_ingest::json_text(data)));
    return {{"content", content}};
  }
  for (const std::string& copy : answer.copies) content.push_back(escaped(link_to_copy(copy)));
  return {{"content", content}, {"structuredContent", data}};
}

/// The tool that is named. Throws ToolError for a name that is none.
const Tool& named_tool(const Json& params, bool is_read_only) {
  const Json name = params.value("name", Json());
  const Tool* const tool =
      name.is_string() ? find_tool(name.get<std::string>(), is_read_only) : nullptr;
  if (tool != nullptr) return *tool;
  std::string known;
  for (const Json& each : list_of_tools(is_read_only)) {
    known += (known.empty() ? "" : ", ") + each["name"].get<std::string>();
  }
  throw ToolError(
      "There is no tool " + in_quotes(name.is_string() ? name.get<std::string>() : name.dump()) +
      ". The tools are " + known +
      (is_read_only ? "; the user has started the server so that it writes nothing." : "."));
}

/// What to say of a call that failed.
std::string message_on(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const ToolError& failure) {
    return failure.what();
  } catch (const std::bad_alloc&) {
    return "There is not enough memory for this call. Ask for less in one call.";
  } catch (const std::system_error& failure) {
    return std::string("The system refused: ") + failure.what() +
           ". Tell the user, who may have to mend permissions or disk space, and call again.";
  } catch (const std::exception& failure) {
    return std::string("The call failed: ") + failure.what() +
           ". Tell the user, and do not repeat the call unchanged.";
  }
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

ToolResult call_tool(Workspace& workspace, const Json& params, const Call& call, bool is_structured,
                     const std::function<void(const std::string&)>& log) {
  const auto begin = std::chrono::steady_clock::now();
  std::string name = "tools/call";
  std::string outcome = "done";
  ToolResult result;
  try {
    const Tool& tool = named_tool(params, workspace.is_read_only());
    name = tool.name;
    const Json arguments = params.value("arguments", Json::object());
    if (!arguments.is_object()) {
      throw ToolError(name +
                      " was not called: its arguments must be an object. Correct the call and "
                      "repeat it.");
    }
    const Answer answer = tool.run(workspace, checked_arguments(tool, arguments), call);
    result = {result_of(answer, is_structured), answer.changes_files};
  } catch (const Cancelled&) {
    log(name + ": cancelled");
    throw;
  } catch (...) {
    outcome = message_on(std::current_exception());
    result = {error_result(outcome), false};
  }
  const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - begin);
  log(name + ": " + outcome + " (" + std::to_string(took.count()) + " ms)");
  return result;
}

Json escaped(const Json& value) {
  if (value.is_string()) return base::printable_form(value.get_ref<const std::string&>());
  if (!value.is_structured()) return value;
  Json result = value;
  for (Json& element : result) element = escaped(element);
  return result;
}

}  // namespace server
