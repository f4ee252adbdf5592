#include "server/tool_error.hpp"

#include "structure_ingest/base/words.hpp"

namespace server {

std::string in_quotes(std::string_view text) {
  constexpr std::size_t MOST = 500;
  return structure_ingest::internal::quoted_form(structure_ingest::internal::shortened(text, MOST));
}

}  // namespace server
