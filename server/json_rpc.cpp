#include "server/json_rpc.hpp"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>

#include "structure_ingest/base/file.hpp"

namespace server {
namespace {

bool is_id(const Json& id) {
  return id.is_string() || id.is_number_integer();
}

Message malformed(Json id, std::string error, ErrorCode code = INVALID_REQUEST) {
  return {.kind = Message::Kind::malformed,
          .id = std::move(id),
          .code = code,
          .error = std::move(error)};
}

Message read_message(Json& value) {
  if (!value.is_object()) return malformed(nullptr, "A message must be a JSON object.");
  const auto given = value.find("id");
  const bool has_id = given != value.end();
  const Json id = has_id && is_id(*given) ? *given : Json();
  const auto version = value.find("jsonrpc");
  if (version == value.end() || *version != "2.0") {
    return malformed(id, "A message must have \"jsonrpc\": \"2.0\".");
  }
  const auto method = value.find("method");
  if (method == value.end()) {
    if (value.contains("result") || value.contains("error")) {
      return {.kind = Message::Kind::response, .id = id};
    }
    return malformed(id, "A message must have a \"method\".");
  }
  if (!method->is_string()) return malformed(id, "\"method\" must be a string.");
  if (has_id && id.is_null()) {
    return malformed(nullptr, "\"id\" must be a string or an integer.");
  }
  Message message{.kind = has_id ? Message::Kind::request : Message::Kind::notification,
                  .id = id,
                  .method = method->get<std::string>()};
  if (const auto params = value.find("params"); params != value.end()) {
    if (!params->is_object()) {
      return has_id ? malformed(id, "\"params\" must be an object.", INVALID_PARAMS)
                    : malformed(nullptr, "\"params\" must be an object.");
    }
    message.params = std::move(*params);
  }
  return message;
}

/// Calls `transfer` until the descriptor is ready for it: a client may have made it non-blocking.
template <typename Transfer>
ssize_t when_ready(int descriptor, short event, Transfer transfer) {
  for (;;) {
    const ssize_t size = structure_ingest::internal::retried(transfer);
    if (size >= 0 || (errno != EAGAIN && errno != EWOULDBLOCK)) return size;
    pollfd state{.fd = descriptor, .events = event, .revents = 0};
    structure_ingest::internal::retried([&state] { return poll(&state, 1, -1); });
  }
}

}  // namespace

MessageLine read_message_line(std::string_view line) {
  MessageLine read;
  try {
    Json value = structure_ingest::parse_json(line);
    if (!value.is_array()) {
      read.messages.push_back(read_message(value));
      return read;
    }
    read.is_batch = !value.empty();  // the answer to an empty one is a single error
    for (Json& element : value) read.messages.push_back(read_message(element));
    if (read.messages.empty()) {
      read.messages.push_back(malformed(nullptr, "A batch must hold a message."));
    }
  } catch (const structure_ingest::JsonError& error) {
    const std::string place = error.line == 0 ? "" : " at byte " + std::to_string(error.column);
    read.messages = {malformed(nullptr, "The line is not JSON" + place + ": " + error.reason + ".",
                               PARSE_ERROR)};
  } catch (const std::bad_alloc&) {
    read.messages.clear();
    read.messages.push_back(malformed(nullptr, "There is not enough memory for the line."));
  }
  return read;
}

std::string result_text(const Json& id, const Json& result) {
  return structure_ingest::json_text({{"jsonrpc", "2.0"}, {"id", id}, {"result", result}});
}

std::string error_text(const Json& id, ErrorCode code, const std::string& message,
                       bool name_unknown_id) {
  Json text = {{"jsonrpc", "2.0"}};
  if (!id.is_null() || name_unknown_id) text["id"] = id;
  text["error"] = {{"code", static_cast<std::int32_t>(code)}, {"message", message}};
  return structure_ingest::json_text(text);
}

std::string notification_text(const std::string& method, const Json& params) {
  Json text = {{"jsonrpc", "2.0"}, {"method", method}};
  if (!params.is_null()) text["params"] = params;
  return structure_ingest::json_text(text);
}

bool LineInput::fill() {
  std::array<char, 65536> piece{};
  const ssize_t size = when_ready(descriptor_, POLLIN,
                                  [&] { return ::read(descriptor_, piece.data(), piece.size()); });
  if (size <= 0) {
    is_at_end_ = true;
    return false;
  }
  buffer_.append(piece.data(), static_cast<std::size_t>(size));
  return true;
}

LineInput::Read LineInput::next(std::string& line) {
  bool is_too_long = false;
  std::size_t searched = used_;
  while (true) {
    const std::size_t end = buffer_.find('\n', searched);
    if (end != std::string::npos) {
      is_too_long = is_too_long || end - used_ > longest_;
      if (!is_too_long) line.assign(buffer_, used_, end - used_);
      used_ = end + 1;
      return is_too_long ? Read::too_long : Read::line;
    }
    if (buffer_.size() - used_ > longest_) {
      is_too_long = true;
      used_ = buffer_.size();
    }
    buffer_.erase(0, used_);
    used_ = 0;
    searched = buffer_.size();
    if (is_at_end_ || !fill()) break;
  }
  if (is_too_long) {
    buffer_.clear();
    return Read::too_long;
  }
  if (buffer_.empty()) return Read::end;
  line = std::move(buffer_);
  buffer_.clear();
  return Read::line;
}

void LineOutput::write(std::string text) {
  text += '\n';
  const std::lock_guard lock(mutex_);
  std::string_view rest = text;
  while (!rest.empty() && !is_broken_) {
    const ssize_t size = when_ready(descriptor_, POLLOUT,
                                    [&] { return ::write(descriptor_, rest.data(), rest.size()); });
    if (size <= 0) {
      is_broken_ = true;
    } else {
      rest.remove_prefix(static_cast<std::size_t>(size));
    }
  }
}

bool LineOutput::is_read() const {
  const std::lock_guard lock(mutex_);
  if (is_broken_) return false;
  pollfd state{.fd = descriptor_, .events = 0, .revents = 0};
  return poll(&state, 1, 0) <= 0 || (state.revents & (POLLERR | POLLHUP | POLLNVAL)) == 0;
}

}  // namespace server
