#include "apps/report/escape.hpp"

#include <array>
#include <cstddef>
#include <cstdio>

#include "structure_ingest/base/digest.hpp"

namespace apps {

std::string base64(std::string_view bytes) {
  constexpr std::string_view digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::string_view group = bytes.substr(i, 3);
    unsigned bits = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      bits = bits << 8 | (k < group.size() ? static_cast<unsigned char>(group[k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      out += k <= group.size() ? digits[bits >> (18 - 6 * k) & 63U] : '=';
    }
  }
  return out;
}

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
  const std::string hex = structure_ingest::internal::sha256_hex(text);
  std::string bytes;
  for (std::size_t i = 0; i < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return "'sha256-" + base64(bytes) + "'";
}

}  // namespace apps
