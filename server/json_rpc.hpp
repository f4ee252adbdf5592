// JSON-RPC 2.0 as the Model Context Protocol uses it: messages of one line each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "structure_ingest/base/json.hpp"

namespace server {

using structure_ingest::Json;

/// Error codes of JSON-RPC 2.0, and one of the Model Context Protocol.
enum ErrorCode : std::int32_t {
  PARSE_ERROR = -32700,
  INVALID_REQUEST = -32600,
  METHOD_NOT_FOUND = -32601,
  INVALID_PARAMS = -32602,
  INTERNAL_ERROR = -32603,
  RESOURCE_NOT_FOUND = -32002,
};

/// One message, or what is wrong with what stands in its place.
struct Message {
  enum class Kind { request, notification, response, malformed };
  Kind kind = Kind::malformed;
  Json id{};             // of a request or a malformed one; null where none can be told
  std::string method{};  // of a request or notification
  Json params = Json::object();
  ErrorCode code = INVALID_REQUEST;  // of a malformed one, as is the next
  std::string error{};               // one sentence
};

/// The messages of a line. A batch, which only the oldest protocol revision knows, may hold
/// several.
struct MessageLine {
  bool is_batch = false;
  std::vector<Message> messages;  // at least one
};

/// Reads a line without its end. Never throws for what it holds.
MessageLine read_message_line(std::string_view line);

/// The texts of messages, each on one line without its end. A null `id` is left out or null, as
/// `name_unknown_id` says.
std::string result_text(const Json& id, const Json& result);
std::string error_text(const Json& id, ErrorCode code, const std::string& message,
                       bool name_unknown_id = true);
std::string notification_text(const std::string& method, const Json& params);

/// The longest line that is read, in bytes. Calls name files and hold none, and a line of brackets
/// takes twenty times its size as a JSON value.
inline constexpr std::size_t LONGEST_LINE = std::size_t{8} << 20;

/// Reads lines from a descriptor that another process writes to.
class LineInput {
 public:
  explicit LineInput(int descriptor, std::size_t longest = LONGEST_LINE)
      : descriptor_(descriptor), longest_(longest) {}

  enum class Read { line, too_long, end };

  /// Reads the next line, without its end, into `line`. A line that is too long is passed over and
  /// costs no memory. What stands behind the last line end is a line as well.
  Read next(std::string& line);

 private:
  bool fill();

  int descriptor_;
  std::size_t longest_;
  std::string buffer_{};  // what was read and not used yet
  std::size_t used_ = 0;
  bool is_at_end_ = false;
};

/// Writes lines to a descriptor that another process reads; may be used by several threads.
class LineOutput {
 public:
  explicit LineOutput(int descriptor) : descriptor_(descriptor) {}

  /// Writes a line and its end. Once nobody reads any more, nothing is written.
  void write(std::string text);

  /// Whether somebody can still read.
  bool is_read() const;

 private:
  mutable std::mutex mutex_{};
  int descriptor_;
  bool is_broken_ = false;
};

}  // namespace server
