#include "tests/server/conversation.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <sstream>

#include "structure_ingest/base/json.hpp"
#include "tests/scratch_folder.hpp"

namespace tests {

using server::Json;

std::vector<Json> answers_to(server::Workspace& workspace, const std::vector<std::string>& lines,
                             server::SessionOptions options) {
  const ScratchFolder folder;
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  const int in = open(folder.write("in", text).c_str(), O_RDONLY | O_CLOEXEC);
  const int out = open((folder / "out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  EXPECT_GE(in, 0);
  EXPECT_GE(out, 0);
  server::LineInput input(in);
  server::LineOutput output(out);
  options.version = "1.2.3";
  server::serve(workspace, input, output, options);
  close(in);
  close(out);
  std::vector<Json> answers;
  std::istringstream written(content_of(folder / "out"));
  for (std::string line; std::getline(written, line);) {
    answers.push_back(structure_ingest::parse_json(line));
  }
  return answers;
}

std::string request(const Json& id, const std::string& method, const Json& params) {
  return structure_ingest::json_text(
      {{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}});
}

std::string tool_call(const Json& id, const std::string& tool, const Json& arguments) {
  return request(id, "tools/call", {{"name", tool}, {"arguments", arguments}});
}

std::string hello(const std::string& revision) {
  return request("hello", "initialize",
                 {{"protocolVersion", revision},
                  {"capabilities", Json::object()},
                  {"clientInfo", {{"name", "test"}, {"version", "1"}}}});
}

Json answer_with(const std::vector<Json>& answers, const Json& id) {
  for (const Json& answer : answers) {
    if (answer.is_object() && answer.contains("id") && answer["id"] == id) return answer;
  }
  return nullptr;
}

Json call(server::Workspace& workspace, const std::string& tool, const Json& arguments) {
  const std::vector<Json> answers = answers_to(workspace, {hello(), tool_call(1, tool, arguments)});
  const Json answer = answer_with(answers, 1);
  EXPECT_TRUE(answer.contains("result")) << answer.dump();
  return answer.value("result", Json());
}

}  // namespace tests
