#include "structure_ingest/picture/markup.hpp"

#include "structure_ingest/base/words.hpp"

namespace structure_ingest::internal {

std::string markup_text(std::string_view text) {
  std::string out;
  for (const char c : printable_form(text)) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace structure_ingest::internal
