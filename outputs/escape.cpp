#include "outputs/escape.hpp"

#include <array>
#include <cstddef>
#include <cstdio>

#include "structure_ingest/base/digest.hpp"

namespace outputs {

std::string script_json(const structure_ingest::Json& value) {
  std::string out;
  for (const char c : structure_ingest::json_text(value)) {
    // These occur only inside of strings, where an escape means the same.
    if (c == '<' || c == '>' || c == '&') {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
      out += escape.data();
    } else {
      out += c;
    }
  }
  return out;
}

std::string filled(std::string_view text, const std::map<std::string_view, std::string>& values) {
  std::string out;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t open = text.find("{{", begin);
    out += text.substr(begin, open - begin);
    if (open == std::string_view::npos) break;
    const std::size_t close = text.find("}}", open);
    out += values.at(text.substr(open + 2, close - open - 2));
    begin = close + 2;
  }
  return out;
}

std::string policy_hash(std::string_view text) {
  namespace base = structure_ingest::internal;
  return "'sha256-" + base::base64(base::sha256_bytes(text)) + "'";
}

}  // namespace outputs
