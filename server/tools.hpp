// The tools that a server offers: their table, and how one is called.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "server/call.hpp"
#include "server/workspace.hpp"
#include "structure_ingest/base/json.hpp"

namespace server {

using structure_ingest::Json;

/// What a tool answers. Strings in it may come from files: before it is sent, control and
/// bidirectional characters in it are escaped.
struct Answer {
  Json data = Json::object();         // by the tool's output schema, but for `next_step`
  std::vector<std::string> lines{};   // the same for people, in short
  std::string next_step{};            // the server's own words alone: nothing from a file
  std::vector<std::string> copies{};  // paths of canonical copies to link to
  std::string png{};                  // a picture to show; empty for none
  bool changes_files = false;         // whether resources may have come or gone
};

struct Tool {
  const char* name;
  bool is_writing;
  Answer (*run)(Workspace& workspace, const Json& arguments, const Call& call);
};

/// The tool of this name, or null; `is_read_only` leaves out those that write.
const Tool* find_tool(std::string_view name, bool is_read_only);

/// The definitions of the tools, for `tools/list`.
Json list_of_tools(bool is_read_only);

/// The arguments with the defaults of those that are missing. Throws ToolError, with every argument
/// that does not fit, by the tool's input schema.
Json checked_arguments(const Tool& tool, const Json& arguments);

struct ToolResult {
  Json result{};               // of `tools/call`
  bool changes_files = false;  // whether resources may have come or gone
};

/// Calls the tool that the parameters of `tools/call` name. A call that cannot be done has a result
/// that says so, to be read by the model. Throws only Cancelled. To a client that does not know
/// structured content and links (`is_structured` false) all is text. `log` is told how the call
/// went, on one line.
ToolResult call_tool(Workspace& workspace, const Json& params, const Call& call, bool is_structured,
                     const std::function<void(const std::string&)>& log);

/// `value` with backslash escapes, in all its strings, for what cannot be printed.
Json escaped(const Json& value);

// The tools, by source file.
// file_tools.cpp
Answer parse_structure(Workspace& workspace, const Json& arguments, const Call& call);
Answer check_structure(Workspace& workspace, const Json& arguments, const Call& call);
Answer scan_workspace(Workspace& workspace, const Json& arguments, const Call& call);
Answer explain_finding(Workspace& workspace, const Json& arguments, const Call& call);
// picture_tool.cpp
Answer picture_of_structure(Workspace& workspace, const Json& arguments, const Call& call);
// project_tools.cpp
Answer list_structures(Workspace& workspace, const Json& arguments, const Call& call);
Answer verify_project(Workspace& workspace, const Json& arguments, const Call& call);
Answer forget_structure(Workspace& workspace, const Json& arguments, const Call& call);
// taking_tools.cpp
Answer ingest_structures(Workspace& workspace, const Json& arguments, const Call& call);
Answer hydrate_project(Workspace& workspace, const Json& arguments, const Call& call);

}  // namespace server
