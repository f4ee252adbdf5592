#include "python/module/bulk_row.hpp"

#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "python/module/lists.hpp"
#include "python/module/package.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/base/digest.hpp"
#include "structure_ingest/check/rules.hpp"
#include "structure_ingest/check/subject.hpp"
#include "structure_ingest/ingest/canonical_xyz.hpp"
#include "structure_ingest/record/cell_geometry.hpp"

namespace structure_ingest::python {
namespace {

/// All that is computed without Python's lock.
struct Checked {
  IngestedStructure record;
  std::vector<Finding> findings{};
  std::optional<internal::FoundSymmetry> symmetry{};
  std::optional<double> volume_ang3{};
  std::optional<double> density_g_cm3{};
  std::string canonical_sha256{};
};

Checked read_and_check(StructureParser& parser, const std::string& path, bool symmetry) {
  Checked read{.record = parser.parse_with_fingerprint(path)};
  const IngestedStructure& record = read.record;
  internal::Subject subject{
      .record = record, .reader_warnings = parser.reader_warnings(), .search_symmetry = symmetry};
  internal::look_at(subject);
  read.findings = internal::findings_on(subject);
  read.symmetry = subject.symmetry;
  if (!record.ok) return read;
  if (record.cell_ang) {
    const auto geometry = internal::geometry_of(*record.cell_ang);
    if (geometry) read.volume_ang3 = geometry->volume_ang3;
  }
  if (read.volume_ang3) {
    read.density_g_cm3 = internal::density_g_cm3(record.symbols, *read.volume_ang3);
  }
  read.canonical_sha256 = internal::sha256_hex(internal::canonical_xyz_text(record));
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

py::list finding_dicts(const std::vector<Finding>& findings) {
  py::list list;
  for (const Finding& finding : findings) {
    py::dict dict;
    dict["code"] = str_of(finding.code);
    dict["severity"] = severity_name(finding.severity);
    dict["message"] = str_of(finding.message);
    py::list atoms;
    for (const std::size_t atom : finding.atoms) atoms.append(atom);
    dict["atoms"] = atoms;
    dict["source"] = str_of(finding.source);
    list.append(dict);
  }
  return list;
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
  row["volume_ang3"] = number_or_none(read.volume_ang3);
  row["density_g_cm3"] = number_or_none(read.density_g_cm3);
  row["space_group"] = read.symmetry ? py::object(str_of(read.symmetry->name)) : py::none();
  row["space_group_number"] =
      read.symmetry ? py::object(py::int_(read.symmetry->number)) : py::none();
  row["findings"] = finding_dicts(read.findings);
  row["warnings"] = list_of(record.warnings);
  row["canonical_sha256"] = record.ok ? py::object(str_of(read.canonical_sha256)) : py::none();
  if (atoms) {
    row["symbols"] = list_of(record.symbols);
    row["positions_ang"] = finite_rows(record.positions_ang);
  }
  return row;
}

}  // namespace structure_ingest::python
