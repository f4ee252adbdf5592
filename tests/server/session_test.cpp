// The life of a session: revisions, order, errors, batches, and what is offered.
#include "server/session.hpp"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <thread>

#include "structure_ingest/base/json.hpp"
#include "tests/scratch_folder.hpp"
#include "tests/server/conversation.hpp"

namespace server {
namespace {

using tests::answer_with;
using tests::answers_to;
using tests::hello;
using tests::request;
using tests::tool_call;

class SessionTest : public testing::Test {
 protected:
  SessionTest() { w.write("a.xyz", "1\n\nHe 0 0 0\n"); }
  tests::ScratchFolder w;
  Workspace workspace{Roots({w.path()}), false};
};

/// The code of the error in an answer; 0 without one.
int code_of(const Json& answer) {
  return answer.contains("error") ? answer["error"]["code"].get<int>() : 0;
}

TEST_F(SessionTest, AgreesOnARevision) {
  const std::pair<std::string, std::string> cases[] = {
      {"2025-11-25", "2025-11-25"}, {"2025-06-18", "2025-06-18"}, {"2025-03-26", "2025-03-26"},
      {"2024-11-05", "2025-11-25"}, {"2099-01-01", "2025-11-25"}, {"", "2025-11-25"},
  };
  for (const auto& [wanted, expected] : cases) {
    const Json result = answers_to(workspace, {hello(wanted)}).at(0).at("result");
    EXPECT_EQ(result["protocolVersion"], expected) << wanted;
    EXPECT_EQ(result["serverInfo"]["version"], "1.2.3");
    EXPECT_EQ(result["serverInfo"].contains("title"), expected != "2025-03-26");
    EXPECT_EQ(result["capabilities"]["resources"]["listChanged"], true);
    EXPECT_NE(result["instructions"].get<std::string>().find("'next_step'"), std::string::npos);
  }
}

TEST_F(SessionTest, AnswersEachRequestOnce) {
  const std::vector<Json> answers = answers_to(
      workspace,
      {request(1, "ping"),
       request(2, "tools/list"),
       request(3, "initialize"),
       hello(),
       R"({"jsonrpc":"2.0","method":"notifications/initialized"})",
       "",
       "  \r",
       hello(),
       request(4, "ping"),
       request(5, "tools/list"),
       request(6, "tools/list", {{"cursor", "x"}}),
       request(7, "resources/templates/list"),
       request(8, "no/such", Json::object()),
       tool_call("nine", "parse_structure", {{"path", "a.xyz"}}),
       request(10, "resources/list"),
       request(11, "resources/list", {{"cursor", "x"}}),
       request(12, "resources/read"),
       request(13, "resources/read", {{"uri", "file:///etc/passwd"}}),
       request(14, "tools/call", {{"name", "no_such"}}),
       tool_call(15, "list_structures", {1}),
       request(16, "tools/call"),
       "garbage",
       R"({"jsonrpc":"2.0","id":17,"result":{}})",
       R"({"jsonrpc":"2.0","method":"notifications/no/such"})",
       R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":99}})",
       R"({"jsonrpc":"2.0","id":18,"method":"pi)"});
  EXPECT_EQ(answers.size(), 20U);
  const std::pair<int, std::vector<Json>> cases[] = {
      {0, {1, 4, 5, 7, "nine", 10, 14, 15, 16}},
      {-32600, {2}},
      {-32602, {3, 6, 11, 12}},
      {-32601, {8}},
      {-32002, {13}},
  };
  for (const auto& [code, ids] : cases) {
    for (const Json& id : ids) {
      const Json answer = answer_with(answers, id);
      EXPECT_NE(answer, nullptr) << id;
      EXPECT_EQ(code_of(answer), code) << id;
    }
  }
  EXPECT_EQ(answer_with(answers, 17), nullptr);
  EXPECT_EQ(answer_with(answers, 18), nullptr);
  EXPECT_EQ(answer_with(answers, "nine")["result"]["structuredContent"]["formula"], "He");
  // A bad call of a tool is no error of the protocol: the model is to see it.
  for (const int id : {14, 15, 16}) {
    EXPECT_EQ(answer_with(answers, id)["result"]["isError"], true) << id;
  }
  const auto has_no_id = [](const Json& answer) { return !answer.contains("id"); };
  EXPECT_EQ(std::count_if(answers.begin(), answers.end(), has_no_id), 2);  // what is no JSON
}

TEST_F(SessionTest, KnowsBatchesInTheRevisionThatHasThem) {
  const std::string batch = "[" + request(1, "ping") + ",3," +
                            R"({"jsonrpc":"2.0","method":"notifications/x"},)" +
                            tool_call(2, "parse_structure", {{"path", "a.xyz"}}) + "]";
  const std::vector<Json> answers = answers_to(
      workspace,
      {hello("2025-03-26"), batch, R"([{"jsonrpc":"2.0","method":"notifications/x"}])", "[]"});
  ASSERT_EQ(answers.size(), 3U);
  // The second line has no answer, and the third may be answered before the first is done.
  const Json& all = answers.at(answers.at(1).is_array() ? 1 : 2);
  const Json& none = answers.at(answers.at(1).is_array() ? 2 : 1);
  ASSERT_EQ(all.size(), 3U) << all;
  EXPECT_EQ(all[0]["id"], 1);
  EXPECT_EQ(code_of(all[1]), -32600);
  EXPECT_TRUE(all[1]["id"].is_null());
  EXPECT_EQ(all[2]["id"], 2);
  // A client of this revision reads text alone: the second is the whole answer.
  const Json& content = all[2]["result"]["content"];
  EXPECT_FALSE(all[2]["result"].contains("structuredContent"));
  EXPECT_EQ(structure_ingest::parse_json(content[1]["text"].get<std::string>())["formula"], "He");
  EXPECT_EQ(code_of(none), -32600);
  EXPECT_EQ(code_of(answers_to(workspace, {hello("2025-06-18"), batch}).at(1)), -32600);
  EXPECT_EQ(code_of(answers_to(workspace, {"[" + hello("2025-03-26") + "]"}).at(0)), -32600);
}

TEST_F(SessionTest, PassesOverALineThatIsTooLong) {
  std::string line = request(1, "ping", {{"x", std::string(LONGEST_LINE, 'x')}});
  const std::vector<Json> answers = answers_to(workspace, {hello(), line, request(2, "ping")});
  ASSERT_EQ(answers.size(), 3U);
  EXPECT_EQ(code_of(answers.at(1)), -32600);
  EXPECT_EQ(answers.at(2)["id"], 2);
}

TEST_F(SessionTest, AnswersAThousandRequestsSentAtOnce) {
  std::vector<std::string> lines = {hello()};
  for (int i = 0; i < 1000; ++i) {
    lines.push_back(i % 2 == 0 ? request(i, "ping")
                               : tool_call(i, "parse_structure", {{"path", "a.xyz"}}));
  }
  // Far less may wait than is sent.
  const std::vector<Json> answers = answers_to(workspace, lines, {.most_waiting = 3});
  std::set<int> ids;
  for (const Json& answer : answers) {
    if (!answer["id"].is_number()) continue;
    EXPECT_TRUE(ids.insert(answer["id"].get<int>()).second);
  }
  EXPECT_EQ(ids.size(), 1000U);
  EXPECT_EQ(answers_to(workspace, lines, {.most_waiting_bytes = 1}).size(), 1001U);
}

// The parser keeps the process that runs ASE, which takes memory.
TEST_F(SessionTest, DropsAParserThatIsNotUsed) {
  for (const bool is_kept : {true, false}) {
    int in[2];
    int out[2];
    ASSERT_EQ(pipe(in), 0);
    ASSERT_EQ(pipe(out), 0);
    std::thread client([&] {
      const std::string text =
          hello() + "\n" + tool_call(1, "parse_structure", {{"path", "a.xyz"}}) + "\n";
      EXPECT_EQ(write(in[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
      LineInput answers(out[0]);
      std::string line;
      for (int i = 0; i < 2; ++i) EXPECT_EQ(answers.next(line), LineInput::Read::line);
      if (!is_kept) std::this_thread::sleep_for(std::chrono::milliseconds(200));
      close(in[1]);
    });
    LineInput input(in[0]);
    LineOutput output(out[1]);
    SessionOptions options;
    if (!is_kept) options.idle_time = std::chrono::milliseconds(0);
    serve(workspace, input, output, options);
    client.join();
    EXPECT_EQ(workspace.has_parser(), is_kept);
    for (const int end : {in[0], out[0], out[1]}) close(end);
  }
}

TEST_F(SessionTest, OffersNothingThatWritesWhenReadOnly) {
  Workspace reading(Roots({w.path()}), true);
  std::set<std::string> names;
  for (const Json& tool : list_of_tools(true)) names.insert(tool["name"].get<std::string>());
  EXPECT_EQ(list_of_tools(false).size(), names.size() + 3);
  for (const char* name : {"ingest_structures", "hydrate_project", "forget_structure"}) {
    EXPECT_FALSE(names.contains(name)) << name;
    const Json result =
        tests::call(reading, name, {{"project", w / "p"}, {"paths", {"a.xyz"}}, {"name", "a"}});
    EXPECT_EQ(result["isError"], true);
    EXPECT_NE(result["content"][0]["text"].get<std::string>().find("writes nothing"),
              std::string::npos);
  }
  EXPECT_FALSE(std::filesystem::exists(w / "p"));
}

// Clients and models rely on these of each tool.
TEST_F(SessionTest, DescribesItsTools) {
  for (const Json& tool : list_of_tools(false)) {
    const std::string name = tool["name"];
    EXPECT_GT(tool["description"].get<std::string>().size(), 60U) << name;
    EXPECT_EQ(tool["inputSchema"]["additionalProperties"], false) << name;
    EXPECT_EQ(tool["outputSchema"]["required"].back(), "next_step") << name;
    const Json& hints = tool["annotations"];
    EXPECT_EQ(hints["readOnlyHint"] == false, find_tool(name, true) == nullptr) << name;
    EXPECT_EQ(hints["openWorldHint"], false) << name;
    if (hints["readOnlyHint"] == true) continue;
    EXPECT_EQ(hints["destructiveHint"], name != "ingest_structures") << name;
    EXPECT_TRUE(tool["inputSchema"]["properties"].contains("dry_run")) << name;
  }
}

}  // namespace
}  // namespace server
