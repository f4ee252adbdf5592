// Bytes as text (RFC 4648, section 4).
#pragma once

#include <string>
#include <string_view>

namespace server {

std::string base64(std::string_view bytes);

}  // namespace server
