// Compares the companion lookup with the patterns that define it.
#include <cstdint>
#include <string>

#include "fuzz/memory_file.hpp"
#include "structure_ingest/base/utf8.hpp"
#include "structure_ingest/base/words.hpp"
#include "structure_ingest/readers/companion_cell.hpp"
#include "tests/readers/companion_patterns.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace internal = structure_ingest::internal;
  const std::string text = internal::with_line_feeds(
      internal::without_invalid_utf8({reinterpret_cast<const char*>(data), size}));
  fuzz::require(internal::cell_for(internal::companion_input(text), "a.xyz") ==
                tests::slow_companion_cell(text, "a.xyz"));
  return 0;
}
