#include "server/tool_call.hpp"

#include <chrono>
#include <exception>
#include <new>
#include <system_error>

#include "server/resources.hpp"
#include "server/tool_error.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/base/words.hpp"

namespace server {
namespace {

namespace base = structure_ingest::internal;

Json text_content(const std::string& text) {
  return {{"type", "text"}, {"text", text}};
}

Json error_result(const std::string& message) {
  Json result = {{"content", Json::array()}, {"isError", true}};
  result["content"].push_back(text_content(base::printable_form(message)));
  return result;
}

Json result_of(const Answer& answer, bool is_structured) {
  Json data = answer.data;
  data["next_step"] = answer.next_step;
  data = escaped(data);
  std::string text;
  for (const std::string& line : answer.lines) text += base::printable_form(line) + "\n";
  Json content = Json::array();
  content.push_back(text_content(text + "Next: " + answer.next_step));
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

ToolResult call_tool(Workspace& workspace, const Json& params, const Call& call,
                     const ToolCallOptions& options) {
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
    result = {result_of(answer, options.is_structured), answer.changes_files};
  } catch (const Cancelled&) {
    options.log(name + ": cancelled");
    throw;
  } catch (...) {
    outcome = message_on(std::current_exception());
    result = {error_result(outcome), false};
  }
  const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - begin);
  options.log(name + ": " + outcome + " (" + std::to_string(took.count()) + " ms)");
  return result;
}

}  // namespace server
