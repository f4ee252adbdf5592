#include "python/module/state.hpp"

#include <stdexcept>
#include <utility>

#include "python/module/errors.hpp"
#include "python/module/json_values.hpp"
#include "python/module/lists.hpp"
#include "python/module/package.hpp"
#include "python/module/record.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/base/json.hpp"
#include "structure_ingest/host.hpp"

namespace structure_ingest::python {
namespace {

constexpr const char* NODE = "structure_ingest";
constexpr const char* OPERATION = "hydrate_user_structures";
constexpr double CONFIDENCE_TO_DROP = 0.8;

/// How verdicts that drop a structure are marked for the library.
const std::string ROLE_UNRELATED = agent_modules().ROLE_UNRELATED;

/// The text of a value; null when the value counts as empty. One that does not, and still has no
/// text, gives `without_text`.
Json present_text(const py::handle& value, const char* without_text) {
  if (!is_true(value)) return nullptr;
  std::string text = text_of(value);
  if (text.empty()) text = without_text;
  return text;
}

/// As above for a folder to scan. A value whose text cannot be made names no folder. It becomes a
/// NUL character, which no path can contain, so that nothing is scanned for it.
Json present_folder(const py::handle& value) {
  if (!is_true(value)) return nullptr;
  std::string text =
      unless_it_raises([&] { return text_of(value); }).value_or(std::string(1, '\0'));
  if (text.empty()) text = ".";
  return text;
}

py::object member(const py::handle& value, const char* key) {
  return is_mapping(value) ? value_at(value, key) : py::none();
}

/// The elements of a value where a list is expected; none of one that counts as empty.
py::list elements(const py::handle& value) {
  if (!is_true(value)) return py::list();
  return new_list_of(value);
}

Json attachments(const py::handle& value) {
  Json paths = Json::array();
  for (const py::handle& attachment : elements(value)) {
    paths.push_back({{"path", present_text(member(attachment, "path"), "")}});
  }
  return paths;
}

Json texts(const py::handle& value) {
  Json list = Json::array();
  for (const py::handle& element : elements(value)) list.push_back(text_of(element));
  return list;
}

Json text_or_null(const py::handle& value) {
  return PyUnicode_Check(value.ptr()) != 0 ? Json(bytes_of(value)) : Json();
}

/// What names the source of an entry.
Json source_of(const py::handle& entry) {
  const py::object metadata = value_at(entry, "metadata");
  const py::object source_file =
      is_true(metadata) ? py::object(value_at(metadata, "source_file")) : py::none();
  // A blank names no source, as a present value without text does.
  Json source = {{"metadata", {{"source_file", present_text(source_file, " ")}}}};
  if (source["metadata"]["source_file"].is_null()) {
    source["source_path"] = present_text(value_at(entry, "source_path"), " ");
  }
  return source;
}

/// All of an entry that JSON has.
Json full_entry(const py::handle& entry) {
  Json full = json_or_null(entry);
  full.update(source_of(entry));
  return full;
}

/// What our own assessor reads of an entry; it reads nothing else of a state but its entries.
Json assessed_entry(const py::handle& entry) {
  Json assessed = Json::object();
  for (const char* key : {"path", "formula", "discovery", "source_path"}) {
    assessed[key] = text_or_null(value_at(entry, key));
  }
  assessed["metadata"]["source_file"] =
      text_or_null(member(value_at(entry, "metadata"), "source_file"));
  for (const char* key : {"species", "symbols"}) {
    const py::object symbols = value_at(entry, key);
    if (PyList_Check(symbols.ptr()) == 0) continue;
    assessed[key] = Json::array();
    for (const py::handle& symbol : symbols) assessed[key].push_back(text_or_null(symbol));
  }
  return assessed;
}

/// A member of a state as the library calls it: with Python's lock, for as long as the call takes.
template <typename Result, typename... Arguments>
std::function<Result(Arguments...)> locked(State& state, Result (State::*member)(Arguments...)) {
  return [&state, member](Arguments... arguments) -> Result {
    return in_python([&]() -> Result { return (state.*member)(arguments...); });
  };
}

}  // namespace

internal::StateHost State::host() {
  return {.value = locked(*this, &State::value),
          .learn_root = locked(*this, &State::learn_root),
          .take_batch = locked(*this, &State::take_batch),
          .entry = locked(*this, &State::entry),
          .assess = locked(*this, &State::assess),
          .apply = locked(*this, &State::apply),
          .report = locked(*this, &State::report)};
}

void State::learn_root(const std::string& folder) {
  mapping_["source_workspace_root"] = str_of(folder);
}

py::list State::entries_at(const std::vector<std::size_t>& places) const {
  py::list list;
  for (const std::size_t place : places) list.append(entries_[place]);
  return list;
}

std::vector<std::string> State::extra_paths(const py::handle& paths) {
  std::vector<std::string> texts;
  try {
    in_python([&] {
      for (const py::handle& path : elements(paths)) {
        if (is_true(path)) texts.push_back(text_of(path));
      }
    });
  } catch (...) {
    failed_paths_ = std::current_exception();
  }
  return texts;
}

std::size_t State::set_entries(const py::handle& entries) {
  entries_.clear();
  for (const py::handle& entry : py::iter(entries)) {
    entries_.push_back(py::reinterpret_borrow<py::object>(entry));
  }
  return entries_.size();
}

/// The value at a key, of nested mappings where the key has dots.
py::object State::at(std::string_view key) {
  std::size_t dot = key.find('.');
  py::object value = value_at(mapping_, std::string(key.substr(0, dot)).c_str());
  while (dot != std::string_view::npos) {
    key.remove_prefix(dot + 1);
    dot = key.find('.');
    value = member(value, std::string(key.substr(0, dot)).c_str());
  }
  return value;
}

const Json* State::value(std::string_view key) {
  const py::object raw = at(key);
  Json& value = values_[std::string(key)];
  if (key == "source_workspace_root" && raw.is_none()) {
    const int is_there = PySequence_Contains(mapping_.ptr(), str_of(key).ptr());
    if (is_there < 0) throw py::error_already_set();
    value = nullptr;
    return is_there == 0 ? nullptr : &value;
  }
  if (key == "attachments") {
    if (failed_paths_) std::rethrow_exception(failed_paths_);
    value = attachments(raw);
  } else if (key == "structure_sources") {
    existing_ = elements(raw);
    value = sources();
  } else if (key == "structure_notes") {
    notes_ = elements(raw);
    value = Json::array();
    for (const py::handle& note : notes_) value.push_back(text_or_null(note));
  } else if (key == "attached_workspace.inventory.structure_files") {
    value = texts(raw);
  } else if (key == "project_path" || key == "attached_workspace.project_path") {
    value = present_text(raw, ".");
  } else if (key == "project_brief" || key == "source_query" || key == "user_request") {
    value = present_text(raw, " ");
  } else {
    value = present_folder(raw);
  }
  return &value;
}

/// Leaves only the mappings among the entries that the state has.
Json State::sources() {
  py::list mappings;
  Json known = Json::array();
  for (const py::handle& entry : existing_) {
    if (!is_mapping(entry)) continue;
    mappings.append(entry);
    known.push_back(reading_ == Reading::in_full ? full_entry(entry) : source_of(entry));
  }
  existing_ = mappings;
  return known;
}

const Json& State::entry(std::size_t place) {
  const py::object& entry = entries_[place];
  entry_ = source_of(entry);
  for (const char* key : {"path", "formula"}) {
    entry_[key] = present_text(value_at(entry, key), "");
  }
  const py::object natoms = value_at(entry, "natoms");
  if (!natoms.is_none()) entry_["natoms"] = text_of(natoms);
  entry_["ok"] = is_true(value_at(entry, "ok"));
  entry_["warnings"] = texts(value_at(entry, "warnings"));
  return entry_;
}

std::string State::take_batch(const std::string& project, const std::vector<SourceEntry>& entries) {
  const py::list objects = entry_objects(entries);
  set_entries(objects);
  return dry_run_ ? std::string() : write_manifest(project, objects);
}

std::function<RelevanceReport()> State::assess(const std::vector<std::size_t>& places,
                                               const std::string& request) {
  if (!has_agent()) {
    std::vector<Json> asked;
    for (const std::size_t place : places) asked.push_back(assessed_entry(entries_[place]));
    Json known = Json::array();
    for (const py::handle& entry : existing_) known.push_back(assessed_entry(entry));
    const Json state = {{"structure_sources", known}};
    return [report = agent_modules().assess_structure_relevance(asked, request, state)] {
      return report;
    };
  }
  const py::object ask = agent_name("structure_relevance", "assess_structure_relevance");
  role_ = agent_name("structure_relevance", "ROLE_UNRELATED");
  report_ = ask(entries_at(places), str_of(request), mapping_);
  return [this, places] { return in_python([&] { return read_report(places); }); };
}

/// The verdicts that drop a structure, in their order; the others have no effect.
RelevanceReport State::read_report(const std::vector<std::size_t>& places) {
  RelevanceReport report;
  std::set<std::string> sources;
  std::map<std::string, std::exception_ptr> no_reason;
  for (const py::handle& verdict : py::iter(report_.attr("verdicts"))) {
    if (!compares(verdict.attr("role"), role_, Py_EQ)) continue;
    if (!compares(verdict.attr("confidence"), py::float_(CONFIDENCE_TO_DROP), Py_GE)) continue;
    const py::object source = verdict.attr("source");
    py::hash(source);  // it must be usable as a key, whether or not it names an entry
    if (PyUnicode_Check(source.ptr()) == 0) continue;
    const std::string name = bytes_of(source);
    std::string reason;
    no_reason.erase(name);
    try {
      const py::object given = verdict.attr("reason");
      if (is_true(given)) reason = text_of(given);
    } catch (py::error_already_set& error) {
      if (!error.matches(PyExc_Exception)) throw;
      no_reason[name] = std::current_exception();
    }
    sources.insert(name);
    report.verdicts.push_back({.source = name,
                               .role = ROLE_UNRELATED,
                               .confidence = CONFIDENCE_TO_DROP,
                               .reason = std::move(reason)});
  }
  if (!no_reason.empty()) refuse_missing_reasons(places, sources, no_reason);
  return report;
}

/// A reason is needed only for the note on an entry that is dropped.
void State::refuse_missing_reasons(const std::vector<std::size_t>& places,
                                   const std::set<std::string>& sources,
                                   const std::map<std::string, std::exception_ptr>& no_reason) {
  for (const std::size_t place : places) {
    const internal::EntryNames names = internal::names_of(entry(place));
    const auto failed =
        no_reason.find(sources.contains(names.file_name) ? names.file_name : names.path);
    if (failed != no_reason.end()) std::rethrow_exception(failed->second);
  }
}

/// Takes the entries of these sources out, and the notes on them.
void State::take_out_replaced(const std::set<std::string>& source_keys) {
  Json known = {{"structure_sources", sources()}, {"structure_notes", *value("structure_notes")}};
  std::vector<std::size_t> places;
  py::list left;
  for (std::size_t i = 0; i < known["structure_sources"].size(); ++i) {
    if (source_keys.contains(
            internal::source_key(internal::source_text_of(known["structure_sources"][i])))) {
      places.push_back(i);
    } else {
      left.append(existing_[i]);
    }
  }
  drop_notes(internal::take_out(known, places));
  existing_ = left;
}

void State::drop_notes(const std::vector<std::string>& notes) {
  if (notes.empty()) return;
  const std::set<std::string> gone(notes.begin(), notes.end());
  py::list left;
  for (const py::handle& note : notes_) {
    if (PyUnicode_Check(note.ptr()) == 0 || !gone.contains(bytes_of(note))) left.append(note);
  }
  mapping_["structure_notes"] = left;
}

ForgetOutcome State::forget(const std::vector<std::string>& names, const ForgetOptions& options) {
  const py::list all = elements(at("structure_sources"));
  Json known = {{"project_path", *value("project_path")},
                {"structure_sources", Json::array()},
                {"structure_notes", *value("structure_notes")}};
  std::size_t place = 0;
  for (const py::handle& entry : all) {
    Json element = is_mapping(entry) ? full_entry(entry) : Json();
    if (element.is_object()) element["place"] = place;
    known["structure_sources"].push_back(std::move(element));
    ++place;
  }
  ForgetOutcome outcome = forget_structures(known, names, options);
  if (options.dry_run || outcome.forgotten.empty()) return outcome;
  std::set<std::size_t> left;
  for (const Json& entry : known["structure_sources"]) {
    if (entry.is_object()) left.insert(entry["place"].get<std::size_t>());
  }
  py::list kept;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (left.contains(i) || !is_mapping(all[i])) kept.append(all[i]);
  }
  mapping_["structure_sources"] = kept;
  drop_notes(outcome.notes);
  return outcome;
}

std::string State::project() {
  const Json& path = *value("project_path");
  return path.is_string() ? path.get<std::string>() : "";
}

void State::apply(const internal::StateChange& change) {
  const py::list taken = entries_at(change.taken);
  if (!change.replaced.empty()) take_out_replaced(change.replaced);
  mapping_["structure_sources"] = taken + existing_;
  std::vector<std::string> known;
  std::vector<std::string> undone;
  for (const Json& note : *value("structure_notes")) {
    if (!note.is_string()) continue;
    const auto& text = note.get_ref<const std::string&>();
    (internal::is_undone(change, text) ? undone : known).push_back(text);
  }
  drop_notes(undone);
  if (!undone.empty()) value("structure_notes");  // reads what is left into notes_
  py::list notes = notes_;
  for (const std::string& note : internal::new_notes(known, change.notes)) {
    notes.append(str_of(note));
  }
  mapping_["structure_notes"] = notes;
  taken_ = taken;  // only now: of a call that failed nothing is returned
}

void State::report(const std::exception_ptr& error) {
  const py::object exception = python_error(error);
  const py::object project =
      unless_it_raises([&] { return value_at(mapping_, "project_path"); }).value_or(py::none());
  if (has_agent()) {
    agent_name("diagnostics", "record_suppressed_error")(
        project, py::arg("node") = NODE, py::arg("op") = OPERATION, py::arg("exc") = exception);
    return;
  }
  const std::string message =
      Py_TYPE(exception.ptr())->tp_name + std::string(": ") + text_of(py::str(exception));
  agent_modules().record_suppressed_error(
      present_text(project, "."),
      {NODE, OPERATION, std::make_exception_ptr(std::runtime_error(message))});
}

}  // namespace structure_ingest::python
