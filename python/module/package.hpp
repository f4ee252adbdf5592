// The package that this module belongs to: what a caller may replace in it is looked up there.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

#include "structure_ingest/contracts/collaborators.hpp"

namespace structure_ingest::python {

namespace py = pybind11;

/// Tells the module its package, and whether the agent's package is there. Called when the package
/// is loaded, and each time that it is loaded anew.
void bind_package(const py::dict& globals, bool has_agent);

/// Whether the agent's package was there.
bool has_agent();

/// Makes the library know the symbols that the package's KNOWN_ELEMENT_SYMBOLS has now. Asks it
/// only when it is another object than before.
void use_known_symbols();

/// Writes a JSON-like value as our own module does.
void write_json(const py::handle& path, const py::handle& value);

/// The agent's modules as the library calls them; ours where the agent is not there.
Collaborators collaborators();

/// Hands a value to the writer that the package has now. Returns the text of an OSError; all else
/// that the writer raises is thrown.
std::string call_atomic_write_json(const py::object& path, const py::object& value);

/// Imports a name of one of the agent's modules, as "from qelda_agent.MODULE import NAME" does.
py::object agent_name(const char* module, const char* name);

}  // namespace structure_ingest::python
