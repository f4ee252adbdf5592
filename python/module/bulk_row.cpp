#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "python/module/json_values.hpp"
#include "python/module/lists.hpp"
#include "python/module/package.hpp"
#include "python/module/reader.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace structure_ingest::python {
namespace {

/// All that is computed without Python's lock.
struct Checked {
  IngestedStructure record{};
  std::vector<Finding> findings{};
  std::optional<SpaceGroup> space_group{};
  Quantities quantities{};
  std::string canonical_sha256{};
};

Checked read_and_check(StructureParser& parser, const std::string& path, bool symmetry) {
  Checked read;
  ParsedStructure parsed = parser.parse(path, {.fingerprint = true, .content = true});
  read.findings =
      check_structure(parsed, {.search_symmetry = symmetry, .space_group = &read.space_group});
  read.record = std::move(parsed.record);
  if (!read.record.ok) return read;
  read.quantities = quantities_of(read.record);
  read.canonical_sha256 = internal::sha256_hex(canonical_xyz_text(read.record));
  return read;
}

py::object number_or_none(const std::optional<double>& number) {
  if (!number || !std::isfinite(*number)) return py::none();
  return py::float_(*number);
}

/// Rows of three numbers.
py::list finite_rows(const std::vector<Vector3>& vectors) {
  py::list rows = list_of(vectors);
  for (std::size_t i = 0; i < vectors.size(); ++i) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      if (!std::isfinite(vectors[i][axis])) rows[i][py::int_(axis)] = py::none();
    }
  }
  return rows;
}

}  // namespace

py::dict bulk_row(Reader& reader, const py::handle& path, bool begins_batch, bool symmetry,
                  bool atoms) {
  use_known_symbols();
  const std::string file = path_of(path);
  const Checked read = reader.use([&](StructureParser& parser) {
    if (begins_batch) parser.begin_batch();
    return read_and_check(parser, file, symmetry);
  });
  const IngestedStructure& record = read.record;
  py::dict row;
  row["sha256"] = str_of(record.sha256);
  row["ok"] = py::bool_(record.ok);
  row["format"] = str_of(record.format);
  row["formula"] = str_of(record.formula);
  row["natoms"] = py::int_(record.natoms);
  row["species"] = list_of(record.species);
  row["cell_ang"] = record.cell_ang ? py::object(finite_rows(*record.cell_ang)) : py::none();
  row["cell_provenance"] = str_of(record.cell_provenance);
  const auto volume = read.quantities.cell ? read.quantities.cell->volume_ang3 : std::nullopt;
  row["volume_ang3"] = number_or_none(volume);
  row["density_g_cm3"] = number_or_none(read.quantities.density_g_cm3);
  row["space_group"] = read.space_group ? py::object(str_of(read.space_group->name)) : py::none();
  row["space_group_number"] =
      read.space_group ? py::object(py::int_(read.space_group->number)) : py::none();
  row["findings"] = object_of(findings_list(read.findings));
  row["warnings"] = list_of(record.warnings);
  row["canonical_sha256"] = record.ok ? py::object(str_of(read.canonical_sha256)) : py::none();
  if (atoms) {
    row["symbols"] = list_of(record.symbols);
    row["positions_ang"] = finite_rows(record.positions_ang);
  }
  return row;
}

}  // namespace structure_ingest::python
