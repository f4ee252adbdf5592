// One `tools/call`, from its parameters to its result.
#pragma once

#include <functional>
#include <string>

#include "server/tools.hpp"

namespace server {

struct ToolCallOptions {
  /// Whether the client knows structured content and links; otherwise all is text.
  bool is_structured = true;
  /// Told how the call went, on one line.
  std::function<void(const std::string&)> log = [](const std::string&) {};
};

struct ToolResult {
  Json result{};
  bool changes_files = false;  // whether resources may have come or gone
};

/// Calls the tool that `params` name. A call that cannot be done has a result that says so, to be
/// read by the model. Throws only Cancelled.
ToolResult call_tool(Workspace& workspace, const Json& params, const Call& call,
                     const ToolCallOptions& options);

}  // namespace server
