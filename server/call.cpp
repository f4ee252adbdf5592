#include "server/call.hpp"

#include "server/tool_error.hpp"

namespace server {

void Call::check() const {
  if (is_cancelled()) throw Cancelled();
}

structure_ingest::Progress Call::progress() const {
  return [this](std::size_t done, std::size_t total, const std::string& path) {
    check();
    if (report) report(done, total, path);
  };
}

}  // namespace server
