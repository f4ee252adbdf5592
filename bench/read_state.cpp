// Reads a state and does nothing with it: what a command on a project cannot do without.
#include <cstdio>
#include <exception>

#include "structure_ingest/base/file.hpp"
#include "structure_ingest/base/json.hpp"

int main(int argc, char** argv) {
  try {
    const structure_ingest::Json state =
        structure_ingest::parse_json(structure_ingest::internal::read_file(argv[argc - 1]));
    return state.is_object() ? 0 : 1;
  } catch (const std::exception& error) {
    std::fputs(error.what(), stderr);
    return 1;
  }
}
