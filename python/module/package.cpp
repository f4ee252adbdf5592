#include "python/module/package.hpp"

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "python/module/errors.hpp"
#include "python/module/json_values.hpp"
#include "python/module/python_lock.hpp"
#include "python/module/text.hpp"
#include "structure_ingest/contracts/collaborators.hpp"
#include "structure_ingest/host.hpp"

namespace structure_ingest::python {
namespace {

/// Held until the process ends: Python may be gone before static objects are destroyed.
struct Package {
  py::object globals = py::none();
  py::object known_symbols = py::none();
  bool has_agent = false;
};

Package& package() {
  static auto* const held = new Package;
  return *held;
}

std::string trust_state(const std::string& folder) {
  const py::object record = agent_name("directory_trust", "trust_state_for")(path_object(folder));
  // Only this value has an effect, and the agent's may be any that compares equal to it.
  return compares(record.attr("state"), py::str("untrusted"), Py_EQ) ? "untrusted" : "";
}

WorkspaceInventory inventory(const py::object& operation, const std::string& root) {
  const py::object record = operation(path_object(root));
  const py::object files = record.attr("structure_files");
  WorkspaceInventory inventory;
  if (!is_true(files)) return inventory;
  for (const py::handle& file : py::iter(files)) {
    inventory.structure_files.push_back(text_of(file));
  }
  return inventory;
}

}  // namespace

void bind_package(const py::dict& globals, bool has_agent) {
  package().globals = globals;
  package().has_agent = has_agent;
  use_known_symbols();
}

bool has_agent() {
  return package().has_agent;
}

void use_known_symbols() {
  const py::object known = package().globals["KNOWN_ELEMENT_SYMBOLS"];
  if (known.is(package().known_symbols)) return;
  std::vector<std::string> symbols;
  const auto take = [&](std::string symbol) {
    const int is_known = PySequence_Contains(known.ptr(), str_of(symbol).ptr());
    if (is_known < 0) throw py::error_already_set();
    if (is_known > 0) symbols.push_back(std::move(symbol));
  };
  for (char first = 'A'; first <= 'Z'; ++first) {
    take({first});
    for (char second = 'a'; second <= 'z'; ++second) take({first, second});
  }
  internal::replace_known_symbols(std::vector<std::string_view>(symbols.begin(), symbols.end()));
  package().known_symbols = known;
}

py::object agent_name(const char* module, const char* name) {
  // As the statement does: through __import__, which a test may replace, and a name that the module
  // lacks is an ImportError.
  const py::object imported = py::module_::import("builtins")
                                  .attr("__import__")(std::string("qelda_agent.") + module,
                                                      py::none(), py::none(), py::make_tuple(name));
  if (!py::hasattr(imported, name)) {
    PyErr_SetString(PyExc_ImportError, (std::string("cannot import name '") + name +
                                        "' from 'qelda_agent." + module + "'")
                                           .c_str());
    throw py::error_already_set();
  }
  return imported.attr(name);
}

void write_json(const py::handle& path, const py::handle& value) {
  const std::string file = path_of(path);
  const Json json = json_of(value);
  const Unlocked unlocked;
  agent_modules().atomic_write_json(file, json);
}

std::string call_atomic_write_json(const py::object& path, const py::object& value) {
  try {
    package().globals["atomic_write_json"](path, value);
    return {};
  } catch (py::error_already_set& error) {
    if (!error.matches(PyExc_OSError)) throw;
    std::string text = text_of(error.value());
    return text.empty() ? "the writer failed" : text;
  }
}

Collaborators collaborators() {
  if (!has_agent()) return agent_modules();
  Collaborators modules([](const std::string& path, const Json& value) {
    const std::string error =
        in_python([&] { return call_atomic_write_json(path_object(path), object_of(value)); });
    if (!error.empty()) throw std::system_error(std::make_error_code(std::errc::io_error), error);
  });
  modules.record_suppressed_error = nullptr;  // a state reports by itself
  modules.trust_state_for = [](const std::string& folder) {
    return in_python([&] { return TrustRecord{.state = trust_state(folder)}; });
  };
  // Looked up once for all roots of a call. Shared: it may be copied without Python's lock.
  modules.inventory_workspace = [operation =
                                     std::make_shared<py::object>()](const std::string& root) {
    return in_python([&] {
      if (!*operation) *operation = agent_name("workspace_inventory", "inventory_workspace");
      return inventory(*operation, root);
    });
  };
  return modules;
}

}  // namespace structure_ingest::python
