#include "structure_ingest/record/ingested_structure.hpp"

#include "structure_ingest/base/json_values.hpp"
#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest {

Json IngestedStructure::as_dict() const {
  using internal::json_list, internal::utf8_text;
  Json dict = Json::object();
  // Reserve: the mapping copies its values each time it grows.
  dict.get_ref<Json::object_t&>().reserve(14);
  dict["source_path"] = utf8_text(source_path);
  dict["format"] = utf8_text(format);
  dict["natoms"] = natoms;
  dict["species"] = json_list(species);
  dict["symbols"] = json_list(symbols);
  dict["positions_ang"] = json_list(positions_ang);
  dict["cell_ang"] = cell_ang ? json_list(*cell_ang) : Json();
  dict["fractional"] = fractional;
  dict["formula"] = utf8_text(formula);
  dict["sha256"] = utf8_text(sha256);
  dict["canonical_xyz_rel"] = utf8_text(canonical_xyz_rel);
  dict["cell_provenance"] = utf8_text(cell_provenance);
  dict["warnings"] = json_list(warnings);
  dict["ok"] = ok;
  return dict;
}

}  // namespace structure_ingest
