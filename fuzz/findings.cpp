// Runs the checks on a file with arbitrary content: they must terminate, and every finding must
// have a message.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/memory_file.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/check/check.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace structure_ingest;
  const fuzz::MemoryFile file({reinterpret_cast<const char*>(data), size});
  IngestedStructure record{.source_path = file.path(), .format = ""};
  record.natoms = 2;
  record.symbols = record.species = {"C", "Na"};
  record.formula = "CNa";
  record.positions_ang = {{0, 0, 0}, {0.5, 0.5, 0.6}};
  record.cell_ang = {{5, 0, 0}, {0, 5, 0}, {0, 0, 5}};
  for (const char* format : {"xyz", "cif", "vasp"}) {
    record.format = format;
    for (const bool ok : {true, false}) {
      record.ok = ok;
      for (const Finding& finding : check_structure(record)) {
        fuzz::require(finding.message.size() > 10);
        fuzz::require(internal::valid_utf8_prefix(finding.message) == finding.message.size());
      }
    }
  }
  return 0;
}
