#include "structure_ingest/record/json_lists.hpp"

#include "structure_ingest/base/json.hpp"
#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest::internal {

Json json_list(const std::vector<std::string>& texts) {
  Json::array_t list;
  list.reserve(texts.size());
  for (const std::string& text : texts) {
    if (valid_utf8_prefix(text) == text.size()) {
      list.emplace_back(text);
    } else {
      list.emplace_back(utf8_text(text));
    }
  }
  return list;
}

Json json_list(const std::vector<Vector3>& vectors) {
  Json::array_t list;
  list.reserve(vectors.size());
  for (const Vector3& vector : vectors)
    list.emplace_back(Json::array_t(vector.begin(), vector.end()));
  return list;
}

Json json_cell(const std::optional<std::vector<Vector3>>& cell_ang) {
  return cell_ang ? json_list(*cell_ang) : Json();
}

}  // namespace structure_ingest::internal
