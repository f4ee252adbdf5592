// A conversation with a server in this process.
#pragma once

#include <string>
#include <vector>

#include "server/session.hpp"
#include "structure_ingest/base/json.hpp"

namespace tests {

/// Sends the lines to a server, all at once, and returns what it answers.
std::vector<server::Json> answers_to(server::Workspace& workspace,
                                     const std::vector<std::string>& lines,
                                     server::SessionOptions options = {});

/// The text of a request.
std::string request(const server::Json& id, const std::string& method,
                    const server::Json& params = server::Json::object());

/// The text of a call of a tool.
std::string tool_call(const server::Json& id, const std::string& tool,
                      const server::Json& arguments);

/// The request that begins a session.
std::string hello(const std::string& revision = "2025-11-25");

/// The answer with this id; null when there is none.
server::Json answer_with(const std::vector<server::Json>& answers, const server::Json& id);

/// Calls one tool in a session of its own; returns the result.
server::Json call(server::Workspace& workspace, const std::string& tool,
                  const server::Json& arguments);

}  // namespace tests
