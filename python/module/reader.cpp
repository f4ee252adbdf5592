#include "python/module/reader.hpp"

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "python/module/json_values.hpp"
#include "python/module/lists.hpp"
#include "python/module/python_lock.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/host.hpp"

namespace structure_ingest::python {
namespace {

using internal::AseAnswer;

/// Calls `step`; returns the error's text when it raises an Exception.
template <typename Step>
std::optional<std::string> failure_of(const Step& step) {
  try {
    step();
    return std::nullopt;
  } catch (py::error_already_set& error) {
    if (!error.matches(PyExc_Exception)) throw;
    try {
      return text_of(py::str(error.value()));
    } catch (py::error_already_set&) {
      return error.type().attr("__name__").cast<std::string>();  // its __str__ fails
    }
  }
}

std::vector<Vector3> float_rows(const py::handle& rows) {
  std::vector<Vector3> vectors;
  for (const py::handle& row : py::iter(rows)) {
    Vector3& vector = vectors.emplace_back();
    std::size_t axis = 0;
    for (const py::handle& number : py::iter(row)) {
      if (axis == 3) throw py::value_error("more than three numbers in a row");
      vector[axis++] = py::float_(py::reinterpret_borrow<py::object>(number));
    }
    if (axis < 3) throw py::value_error("fewer than three numbers in a row");
  }
  return vectors;
}

void copy_atoms(const py::object& atoms, AseAnswer& answer) {
  std::vector<std::string> labels;
  for (const py::handle& label : py::iter(atoms.attr("get_chemical_symbols")())) {
    labels.push_back(is_true(label) ? text_of(label) : "");
  }
  answer.labels = std::move(labels);
  answer.positions_ang = float_rows(atoms.attr("get_positions")());
  const py::object cell = atoms.attr("cell");
  if (cell.is_none() || !compares(cell.attr("rank"), py::int_(3), Py_EQ)) return;
  answer.cell_ang =
      float_rows(py::make_tuple(cell[py::int_(0)], cell[py::int_(1)], cell[py::int_(2)]));
}

/// Has this very process read a file, with whatever "ase.io.read" is now.
AseAnswer ask_in_process(const std::string& path) {
  AseAnswer answer;
  py::object read;
  py::object atoms;
  if (failure_of([&] { read = py::module_::import("ase.io").attr("read"); })) {
    answer.failure = AseAnswer::Failure::unavailable;
  } else if (auto message = failure_of([&] { atoms = read(str_of(path)); })) {
    answer.failure = AseAnswer::Failure::read;
    answer.message = *message;
  } else if (auto problem = failure_of([&] { copy_atoms(atoms, answer); })) {
    answer.failure = AseAnswer::Failure::extraction;
    answer.message = *problem;
  }
  return answer;
}

AseAnswer locked_ask_in_process(const std::string& path) {
  return in_python([&] { return ask_in_process(path); });
}

/// The interpreter that runs this, in whose environment the user has ASE.
std::vector<std::string> own_interpreter() {
  PyObject* const executable = PySys_GetObject("executable");
  if (executable == nullptr || PyUnicode_Check(executable) == 0) return {};
  return {bytes_of(executable)};
}

}  // namespace

std::atomic<bool> in_process_by_default = false;

StructureParser new_parser(bool in_process, bool cache) {
  if (in_process) return internal::parser_that_asks(locked_ask_in_process);
  return StructureParser({.interpreters = own_interpreter(), .cache = cache});
}

IngestedStructure parse_with_ase(const std::string& path, const std::string& format) {
  if (in_process_by_default) {
    return internal::parse_with_ase(path, format, locked_ask_in_process);
  }
  internal::AseSession session({.first_interpreters = own_interpreter()});
  const Unlocked unlocked;
  return internal::parse_with_ase(path, format,
                                  [&](const std::string& file) { return session.read(file); });
}

namespace {

/// What a new parser would depend on.
std::string circumstances() {
  std::string text = std::to_string(getpid()) + (in_process_by_default ? "i" : "w");
  for (const std::string& interpreter : own_interpreter()) text += interpreter + '\0';
  for (char** each = environ; each != nullptr && *each != nullptr; ++each) {
    text.append(*each) += '\0';
  }
  return text;
}

struct KeptParser {
  std::string circumstances;
  std::unique_ptr<StructureParser> parser;
};

/// Guarded by Python's lock. A parser in it may be the parent's of a fork, which must not end it.
KeptParser& kept_parser() {
  static auto* const kept = new KeptParser;
  return *kept;
}

}  // namespace

SharedParser::SharedParser() : circumstances_(circumstances()) {
  KeptParser& kept = kept_parser();
  if (kept.circumstances == circumstances_) {
    kept.circumstances.clear();
    parser_ = std::move(kept.parser);
  } else {
    parser_ = std::make_unique<StructureParser>(new_parser(in_process_by_default));
  }
}

SharedParser::~SharedParser() {
  KeptParser& kept = kept_parser();
  std::swap(kept.circumstances, circumstances_);
  std::swap(kept.parser, parser_);
  if (!parser_) return;
  const Unlocked unlocked;  // a parser waits for its worker's end
  parser_.reset();
}

void SharedParser::drop_kept() {
  KeptParser kept = std::exchange(kept_parser(), {});
  const Unlocked unlocked;
  kept.parser.reset();
}

std::shared_ptr<Reader::Kept> Reader::kept_here() {
  if (is_closed_) throw py::value_error("the reader is closed");
  leave_to_parent();
  if (!kept_) kept_ = std::make_shared<Kept>(in_process_, cache_);
  return kept_;
}

void Reader::close() {
  is_closed_ = true;
  leave_to_parent();
  kept_ = nullptr;
}

void Reader::leave_to_parent() {
  if (!kept_ || kept_->process == getpid()) return;
  // Another thread of the parent may have been using the parser, so that its lock is never released
  // here: keep it as it is.
  static auto* const left = new std::vector<std::shared_ptr<Kept>>;
  left->push_back(std::move(kept_));
}

}  // namespace structure_ingest::python
