// Any bytes are lines, each line is a message or an error, and what is answered is one line of
// JSON.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/memory_file.hpp"
#include "server/json_rpc.hpp"
#include "server/roots.hpp"
#include "structure_ingest/base/json.hpp"

namespace {

using server::Json;
using server::LineInput;
using server::Message;

constexpr std::size_t LONGEST = 200;

/// The lines of a text, by the definition; "\n" for one that is too long.
std::vector<std::string> lines_of(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(end > LONGEST ? "\n" : std::string(text.substr(0, end)));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

void require_one_line(const std::string& text) {
  fuzz::require(text.find('\n') == std::string::npos);
  fuzz::require(structure_ingest::parse_json(text)["jsonrpc"] == "2.0");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const fuzz::MemoryFile file(text);
  const int descriptor = open(file.path().c_str(), O_RDONLY | O_CLOEXEC);
  LineInput input(descriptor, LONGEST);
  std::string line;
  for (const std::string& expected : lines_of(text)) {
    const LineInput::Read read = input.next(line);
    fuzz::require(read == (expected == "\n" ? LineInput::Read::too_long : LineInput::Read::line));
    if (read != LineInput::Read::line) continue;
    fuzz::require(line == expected);
    const server::MessageLine messages = server::read_message_line(line);
    fuzz::require(!messages.messages.empty());
    fuzz::require(messages.is_batch || messages.messages.size() == 1);
    for (const Message& message : messages.messages) {
      const bool is_request = message.kind == Message::Kind::request;
      fuzz::require(!is_request || message.id.is_string() || message.id.is_number_integer());
      fuzz::require(message.params.is_object());
      if (message.kind == Message::Kind::malformed) fuzz::require(!message.error.empty());
      require_one_line(server::result_text(message.id, message.params));
      require_one_line(server::error_text(message.id, message.code, message.error));
    }
  }
  fuzz::require(input.next(line) == LineInput::Read::end);
  close(descriptor);
  const std::string path = server::path_of_uri(text);
  fuzz::require(path.find('\0') == std::string::npos);
  if (!path.empty()) fuzz::require(server::path_of_uri(server::file_uri(path)) == path);
  return 0;
}
