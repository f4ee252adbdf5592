#include "structure_ingest/record/ingested_structure.hpp"

#include <utility>

#include "structure_ingest/base/json_memory.hpp"
#include "structure_ingest/base/text.hpp"

namespace structure_ingest {
namespace internal {

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
  const TakenApart list_at_end(list);
  list.reserve(vectors.size());
  for (const Vector3& vector : vectors)
    list.emplace_back(Json::array_t(vector.begin(), vector.end()));
  return list;
}

Json json_cell(const std::optional<std::vector<Vector3>>& cell_ang) {
  return cell_ang ? json_list(*cell_ang) : Json();
}

}  // namespace internal

Json IngestedStructure::as_dict() const {
  using internal::utf8_text;
  Json dict = Json::object();
  const internal::TakenApart dict_on_error(dict, internal::On::ERROR);
  internal::make_room(dict, 14);
  dict["source_path"] = utf8_text(source_path);
  dict["format"] = utf8_text(format);
  dict["natoms"] = natoms;
  dict["species"] = internal::json_list(species);
  dict["symbols"] = internal::json_list(symbols);
  dict["positions_ang"] = internal::json_list(positions_ang);
  dict["cell_ang"] = internal::json_cell(cell_ang);
  dict["fractional"] = fractional;
  dict["formula"] = utf8_text(formula);
  dict["sha256"] = utf8_text(sha256);
  dict["canonical_xyz_rel"] = utf8_text(canonical_xyz_rel);
  dict["cell_provenance"] = utf8_text(cell_provenance);
  dict["warnings"] = internal::json_list(warnings);
  dict["ok"] = ok;
  return dict;
}

}  // namespace structure_ingest
