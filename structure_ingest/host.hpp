// The seams of the library for a host in another language, such as the Python package: a state that
// the host holds, files that it has read by itself, and the symbols that it is given at run time.
// Built together with the library and not installed.
#pragma once

#include "structure_ingest/discovery/relevance_filter.hpp"  // IWYU pragma: export
#include "structure_ingest/discovery/state_entries.hpp"     // IWYU pragma: export
#include "structure_ingest/discovery/state_host.hpp"        // IWYU pragma: export
#include "structure_ingest/ingest/copies.hpp"               // IWYU pragma: export
#include "structure_ingest/ingest/entries.hpp"              // IWYU pragma: export
#include "structure_ingest/readers/ase.hpp"                 // IWYU pragma: export
#include "structure_ingest/readers/ase_session.hpp"         // IWYU pragma: export
#include "structure_ingest/readers/companion_cell.hpp"      // IWYU pragma: export
#include "structure_ingest/readers/read_structure.hpp"      // IWYU pragma: export
#include "structure_ingest/readers/xyz.hpp"                 // IWYU pragma: export
#include "structure_ingest/record/chemistry.hpp"            // IWYU pragma: export
#include "structure_ingest/structure_ingest.hpp"            // IWYU pragma: export
