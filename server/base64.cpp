#include "server/base64.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace server {

std::string base64(std::string_view bytes) {
  constexpr std::string_view DIGITS =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      group = group << 8 | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= count ? DIGITS[group >> (18 - 6 * i) & 63] : '=';
    }
  }
  return text;
}

}  // namespace server
