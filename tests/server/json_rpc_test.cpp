// Messages are read from whatever a client sends, and each answer is one line.
#include "server/json_rpc.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "tests/scratch_folder.hpp"

namespace server {
namespace {

/// "request 1 ping {}", or "malformed null -32700" for each message of a line.
std::string told(const std::string& line) {
  std::string text;
  const MessageLine read = read_message_line(line);
  if (read.is_batch) text = "batch";
  for (const Message& message : read.messages) {
    if (!text.empty()) text += "|";
    switch (message.kind) {
      case Message::Kind::request:
        text += "request " + message.id.dump() + " " + message.method + " " + message.params.dump();
        break;
      case Message::Kind::notification:
        text += "notification " + message.method + " " + message.params.dump();
        break;
      case Message::Kind::response:
        text += "response " + message.id.dump();
        break;
      case Message::Kind::malformed:
        text += "malformed " + message.id.dump() + " " + std::to_string(message.code);
        EXPECT_FALSE(message.error.empty()) << line;
    }
  }
  return text;
}

TEST(JsonRpc, TellsMessagesFromGarbage) {
  const std::string begin = R"({"jsonrpc":"2.0",)";
  const std::pair<std::string, std::string> cases[] = {
      {begin + R"("id":1,"method":"ping"})", "request 1 ping {}"},
      {begin + R"("id":"a b","method":"x","params":{"y":[1]}})", R"(request "a b" x {"y":[1]})"},
      {begin + R"("id":18446744073709551615,"method":"x"})", "request 18446744073709551615 x {}"},
      {begin + R"("method":"notifications/x","params":{}})", "notification notifications/x {}"},
      {begin + R"("id":1,"result":{}})", "response 1"},
      {begin + R"("error":{"code":1}})", "response null"},
      {" " + begin + "\"id\":1,\"method\":\"ping\"}\r", "request 1 ping {}"},
      // garbage
      {"", "malformed null -32700"},
      {"{", "malformed null -32700"},
      {begin + R"("id":1,"method":"pi)", "malformed null -32700"},
      {std::string("\0\xFF\x1B[", 4), "malformed null -32700"},
      {"{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"\xC3\x28\"}", "malformed null -32700"},
      {std::string(100000, '['), "malformed null -32700"},
      {"Content-Length: 20", "malformed null -32700"},
      {"1", "malformed null -32600"},
      {"null", "malformed null -32600"},
      {"{}", "malformed null -32600"},
      {R"({"id":1,"method":"ping"})", "malformed 1 -32600"},
      {R"({"jsonrpc":"1.0","id":1,"method":"ping"})", "malformed 1 -32600"},
      {R"({"jsonrpc":2.0,"id":1,"method":"ping"})", "malformed 1 -32600"},
      {begin + R"("id":1})", "malformed 1 -32600"},
      {begin + R"("id":1,"method":7})", "malformed 1 -32600"},
      {begin + R"("id":1.5,"method":"ping"})", "malformed null -32600"},
      {begin + R"("id":null,"method":"ping"})", "malformed null -32600"},
      {begin + R"("id":{},"method":"ping"})", "malformed null -32600"},
      {begin + R"("id":1,"method":"ping","params":[1]})", "malformed 1 -32602"},
      {begin + R"("method":"x","params":3})", "malformed null -32600"},
      // batches
      {"[]", "malformed null -32600"},
      {"[1," + begin + R"("id":2,"method":"ping"}])",
       "batch|malformed null -32600|request 2 ping {}"},
  };
  for (const auto& [line, expected] : cases) {
    EXPECT_EQ(told(line), expected) << line.substr(0, 200);
  }
}

TEST(JsonRpc, WritesEachMessageOnOneLine) {
  EXPECT_EQ(result_text(3, {{"text", "a\nb\xFF"}}),
            "{\"jsonrpc\": \"2.0\", \"id\": 3, \"result\": {\"text\": \"a\\nb\uFFFD\"}}");
  EXPECT_EQ(error_text("x", PARSE_ERROR, "No."),
            R"({"jsonrpc": "2.0", "id": "x", "error": {"code": -32700, "message": "No."}})");
  EXPECT_EQ(error_text(nullptr, PARSE_ERROR, "No."),
            R"({"jsonrpc": "2.0", "id": null, "error": {"code": -32700, "message": "No."}})");
  EXPECT_EQ(error_text(nullptr, PARSE_ERROR, "No.", false),
            R"({"jsonrpc": "2.0", "error": {"code": -32700, "message": "No."}})");
  EXPECT_EQ(error_text(1, PARSE_ERROR, "No.", false),
            R"({"jsonrpc": "2.0", "id": 1, "error": {"code": -32700, "message": "No."}})");
  EXPECT_EQ(notification_text("n", nullptr), R"({"jsonrpc": "2.0", "method": "n"})");
}

/// The lines of a text that comes in pieces, with "<long>" for one that is too long.
std::vector<std::string> lines_of(const std::vector<std::string>& pieces, std::size_t longest) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  EXPECT_EQ(fcntl(ends[0], F_SETFL, O_NONBLOCK), 0);
  std::thread writer([&] {
    for (const std::string& piece : pieces) {
      EXPECT_EQ(write(ends[1], piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
    }
    close(ends[1]);
  });
  LineInput input(ends[0], longest);
  std::vector<std::string> lines;
  for (std::string line;;) {
    const LineInput::Read read = input.next(line);
    if (read == LineInput::Read::end) break;
    lines.push_back(read == LineInput::Read::line ? line : "<long>");
  }
  writer.join();
  close(ends[0]);
  return lines;
}

TEST(JsonRpc, ReadsLinesHoweverTheyCome) {
  using Lines = std::vector<std::string>;
  const std::string big(200000, 'x');
  const std::pair<Lines, Lines> cases[] = {
      {{}, {}},
      {{"one\n", "two\n"}, {"one", "two"}},
      {{"one\ntwo", "\nthr", "ee"}, {"one", "two", "three"}},
      {{"\n\n"}, {"", ""}},
      {{"12345\n123456\n1\n"}, {"12345", "<long>", "1"}},
      {{big, big, "\n", "12345\n"}, {"<long>", "12345"}},
      {{"1\n", big}, {"1", "<long>"}},
  };
  for (const auto& [pieces, expected] : cases) {
    EXPECT_EQ(lines_of(pieces, 5), expected);
  }
  EXPECT_EQ(lines_of({big, big, "\nx"}, 400000), (Lines{big + big, "x"}));
}

TEST(JsonRpc, StopsWritingWhenNobodyReads) {
  std::signal(SIGPIPE, SIG_IGN);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  LineOutput output(ends[1]);
  output.write("a");
  EXPECT_TRUE(output.is_read());
  close(ends[0]);
  EXPECT_FALSE(output.is_read());
  output.write("b");
  output.write("c");
  EXPECT_FALSE(output.is_read());
  close(ends[1]);
}

}  // namespace
}  // namespace server
