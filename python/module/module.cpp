// The functions of the extension module structure_ingest._core. The package in front of it names
// their parameters and documents them.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "python/module/errors.hpp"
#include "python/module/json_values.hpp"
#include "python/module/lists.hpp"
#include "python/module/package.hpp"
#include "python/module/project.hpp"
#include "python/module/python_lock.hpp"
#include "python/module/reader.hpp"
#include "python/module/record.hpp"
#include "python/module/state.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/base/paths.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/host.hpp"
#include "structure_ingest/readers/dispatch.hpp"
#include "structure_ingest/structure_ingest.hpp"
#include "telling/outcomes.hpp"

namespace structure_ingest::python {
namespace {

py::object parse(Reader* reader, const py::handle& path) {
  use_known_symbols();
  const std::string file = path_of(path);
  return record_object(with_parser(reader, [&](StructureParser& parser) {
    parser.begin_batch();
    return parser.parse(file);
  }));
}

/// What a limit on candidates lets through, at least one.
int considered(const py::handle& limit) {
  const py::object number = owned(PyNumber_Index(limit.ptr()));
  const Py_ssize_t size = PyNumber_AsSsize_t(number.ptr(), nullptr);  // clips
  return static_cast<int>(std::clamp<Py_ssize_t>(size, 1, std::numeric_limits<int>::max()));
}

std::string kind_in(const py::handle& kinds, const std::string& identity) {
  const py::object kind = kinds.attr("get")(str_of(identity));
  return is_true(kind) ? text_of(kind) : "";
}

py::list ingest(Reader* reader, const py::handle& project_path, const py::handle& paths,
                const py::handle& limit, const py::object& discovery_by_path) {
  use_known_symbols();
  BatchOptions options{.progress = interruptible(), .check = false};
  internal::BatchInput input{.project = internal::resolve_path(path_of(project_path)),
                             .candidates = {},
                             .limit = 0,
                             .discovery_of = [](const std::string&) { return std::string(); },
                             .options = options};
  const py::list candidates = new_list_of(paths);
  input.limit = considered(limit);
  for (const py::handle& path : candidates) {
    if (input.candidates.size() == static_cast<std::size_t>(input.limit)) break;
    input.candidates.push_back({.text = text_of(path)});
  }
  if (is_true(discovery_by_path)) {
    input.discovery_of = [&discovery_by_path](const std::string& identity) {
      return in_python([&] { return kind_in(discovery_by_path, identity); });
    };
  }
  const IngestOutcome outcome = with_parser(reader, [&](StructureParser& parser) {
    options.parser = &parser;
    internal::PathResolver resolver;
    return internal::ingested_entries(input, resolver);
  });
  py::list entries = entry_objects(outcome.entries);
  write_manifest(input.project, entries);
  return entries;
}

py::list hydrate(Reader* reader, const py::object& mapping, const py::handle& extra_paths) {
  use_known_symbols();
  State state(mapping);
  HydrateOptions options{.extra_paths = state.extra_paths(extra_paths),
                         .collaborators = collaborators(),
                         .batch = {.progress = interruptible(), .check = false}};
  const internal::StateHost host = state.host();
  with_parser(reader, [&](StructureParser& parser) {
    options.batch.parser = &parser;
    return internal::hydrate_state(host, options);
  });
  return state.taken();
}

/// The same with all options, and with what became of each file. Raises what ended it.
py::dict hydrate_in_full(Reader* reader, const py::object& mapping, const py::handle& extra_paths,
                         const py::handle& limit, bool refresh, bool dry_run, bool check,
                         bool note_findings) {
  use_known_symbols();
  State state(mapping, State::Reading::in_full, dry_run);
  HydrateOptions options{.extra_paths = state.extra_paths(extra_paths),
                         .collaborators = collaborators(),
                         .limit = considered(limit),
                         .batch = {.progress = interruptible(), .dry_run = dry_run, .check = check},
                         .refresh = refresh,
                         .named_again = true,
                         .note_findings = note_findings};
  const internal::StateHost host = state.host();
  const HydrateOutcome outcome = with_parser(reader, [&](StructureParser& parser) {
    options.batch.parser = &parser;
    return internal::hydrate_state(host, options);
  });
  if (outcome.error) {
    set_python_error(outcome.error);
    throw py::error_already_set();
  }
  py::dict told = object_of(telling::outcome_json(outcome, options.limit));
  told["taken"] = dry_run ? entry_objects(outcome.taken) : state.taken();
  return told;
}

py::tuple drop_unrelated(const py::object& entries, const py::object& mapping) {
  State state(mapping);
  std::vector<std::size_t> places(state.set_entries(entries));
  std::iota(places.begin(), places.end(), std::size_t{0});
  const internal::RelevanceResult result =
      internal::drop_unrelated(state.host(), places, agent_modules().ROLE_UNRELATED);
  py::list notes;
  for (const DroppedStructure& dropped : result.dropped) {
    notes.append(str_of(internal::note_on(dropped)));
  }
  if (notes.empty()) return py::make_tuple(entries, notes);
  py::list kept;
  for (const std::size_t place : result.kept) kept.append(entries[py::int_(place)]);
  return py::make_tuple(kept, notes);
}

std::optional<std::string> text_or_nothing(const py::handle& value) {
  return unless_it_raises([&] { return text_of(value); });
}

py::object owner(const py::handle& path, const py::handle& stop_at) {
  const std::optional<std::string> text = text_or_nothing(path);
  if (!text) return py::none();
  const std::optional<std::string> root =
      owning_project_root(*text, {.stop_at = unless_it_raises([&] { return path_of(stop_at); })});
  return root ? path_object(*root) : py::none();
}

bool belongs(const py::handle& path, const py::handle& project_path) {
  const std::optional<std::string> text = text_or_nothing(path);
  const std::optional<std::string> project = text_or_nothing(project_path);
  return text && project && belongs_to_another_project(*text, *project);
}

py::tuple companion(const py::handle& path) {
  const internal::CompanionCell found =
      internal::CompanionFiles().vorendal_cell(internal::path_text(path_of(path)));
  return py::make_tuple(found.cell_ang ? py::object(list_of(*found.cell_ang)) : py::none(),
                        str_of(found.provenance));
}

py::tuple check(Reader* reader, const py::handle& path) {
  use_known_symbols();
  const std::string file = path_of(path);
  const CheckedStructure checked = with_parser(reader, [&](StructureParser& parser) {
    parser.begin_batch();
    ParsedStructure parsed = parser.parse(file, {.content = true});
    std::vector<Finding> findings = check_structure(parsed, {.search_symmetry = true});
    return CheckedStructure{.record = std::move(parsed.record), .findings = std::move(findings)};
  });
  return py::make_tuple(record_object(checked.record), object_of(findings_list(checked.findings)));
}

py::list frames(const py::handle& path, std::size_t first, const std::optional<std::size_t>& last) {
  if (first < 1) throw py::value_error("frames are counted from 1");
  use_known_symbols();
  const std::string file = path_of(path);
  std::vector<IngestedStructure> records;
  {
    const Unlocked unlocked;
    visit_xyz_frames(file, first, [&](std::size_t number, const IngestedStructure& record) {
      in_python(check_signals);
      if (last && number > *last) return false;
      records.push_back(record);
      return !last || number < *last;
    });
  }
  py::list list;
  for (const IngestedStructure& record : records) list.append(record_object(record));
  return list;
}

std::string write_copy(const py::handle& project_path, const py::handle& record) {
  const std::string project = path_of(project_path);
  const IngestedStructure held = record_of(record);
  const Unlocked unlocked;
  return internal::write_canonical_xyz(project, held);
}

py::object known_element_symbols() {
  py::set symbols;
  for (const std::string_view symbol : KNOWN_ELEMENT_SYMBOLS) symbols.add(str_of(symbol));
  return py::reinterpret_steal<py::object>(PyFrozenSet_New(symbols.ptr()));
}

}  // namespace

PYBIND11_MODULE(_core, module) {
  py::options options;
  options.disable_function_signatures();
  translate_exceptions();

  py::class_<Reader>(module, "Reader")
      .def(py::init<bool, bool>())
      .def("close", &Reader::close)
      .def_property_readonly("is_closed", &Reader::is_closed);
  module.def("bind", [](const py::dict& globals, bool agent, const py::object& record_class) {
    bind_record_class(record_class);
    bind_package(globals, agent);
  });
  module.def("set_in_process_by_default",
             [](bool in_process) { in_process_by_default = in_process; });
  module.def("is_in_process_by_default", [] { return in_process_by_default.load(); });
  module.def("drop_kept_parser", SharedParser::drop_kept);
  module.def("is_structure_file",
             [](const py::handle& path) { return is_structure_file(path_of(path)); });
  module.def("parse", parse);
  module.def("check", check);
  module.def("frames", frames);
  module.def("listed", listed);
  module.def("verified", verified);
  module.def("source_entry", [](const py::handle& record, const py::handle& discovery) {
    return entry_of_object(record, is_true(discovery) ? text_of(discovery) : "");
  });
  module.def("ingest", ingest);
  module.def("hydrate", hydrate);
  module.def("hydrate_in_full", hydrate_in_full);
  module.def("forget", forget);
  module.def("extract", extract);
  module.def("report_on_files", report_on_files);
  module.def("report_on_project", report_on_project);
  module.def("owner", owner);
  module.def("belongs", belongs);
  module.def("packed", [](const py::handle& rows, const char* name) { return packed(rows, name); });
  module.def("companion", companion);
  module.def("drop_unrelated", drop_unrelated);
  module.def("write_copy", write_copy);
  module.def("atomic_write_json", write_json);
  module.def("known_element_symbols", known_element_symbols);
  module.def("bulk_row", bulk_row);
  module.def("parse_xyz", [](const py::handle& path) {
    use_known_symbols();
    internal::CompanionFiles companions;
    return record_object(internal::parse_xyz(internal::path_text(path_of(path)), companions));
  });
  module.def("parse_with_ase", [](const py::handle& path, const py::handle& format) {
    use_known_symbols();
    return record_object(parse_with_ase(internal::path_text(path_of(path)), text_of(format)));
  });
  module.def("canonical_symbol", [](const py::handle& token) {
    use_known_symbols();
    return internal::canonical_symbol(is_true(token) ? text_of(token) : "");
  });
  module.def("formula", [](const py::handle& symbols) {
    return str_of(internal::formula_from_symbols(texts_of(new_list_of(symbols), "symbols")));
  });
}

}  // namespace structure_ingest::python
