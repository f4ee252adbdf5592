#include <cstdint>

#include "apps/command_line.hpp"
#include "apps/structure_view.hpp"
#include "apps/terminal.hpp"
#include "structure_ingest/structure_ingest.hpp"

namespace apps {
namespace {

using structure_ingest::CacheStatus;

struct CacheArguments {
  bool clear = false;
  bool json = false;
};

/// "12.3 MiB", rounded down.
std::string mebibytes(std::uint64_t bytes) {
  constexpr std::uint64_t MIB = std::uint64_t{1} << 20U;
  return std::to_string(bytes / MIB) + "." + std::to_string(bytes % MIB * 10 / MIB) + " MiB";
}

void print_status(const CacheStatus& status) {
  if (status.folder.empty()) {
    print_line("There is no cache: it is turned off, or there is no home folder.");
    return;
  }
  print_row("folder", status.folder);
  if (!status.is_usable) {
    print_row("", "not used: it cannot be made, or others can write to it");
    return;
  }
  print_row("entries", std::to_string(status.entries));
  print_row("size", mebibytes(status.bytes) + " of at most " + mebibytes(status.most_bytes));
  print_row("found", std::to_string(status.found) + " of " +
                         std::to_string(status.found + status.missed) + " answers of ASE");
}

Status run(const CacheArguments& arguments) {
  if (arguments.clear) structure_ingest::clear_cache();
  const CacheStatus status = structure_ingest::cache_status();
  if (!arguments.json) {
    print_status(status);
    return ALL_WELL;
  }
  print_line(structure_ingest::json_text({{"folder", status.folder},
                                          {"is_usable", status.is_usable},
                                          {"entries", status.entries},
                                          {"bytes", status.bytes},
                                          {"most_bytes", status.most_bytes},
                                          {"found", status.found},
                                          {"missed", status.missed}}));
  return ALL_WELL;
}

}  // namespace

Command cache_command() {
  auto arguments = std::make_shared<CacheArguments>();
  Command command{.name = "cache",
                  .about = "Show what is kept of CIF and VASP files that were read, or empty it",
                  .examples = {"cache", "cache --clear", "cache --json | jq .bytes"},
                  .run = [arguments] { return run(*arguments); }};
  command.add("--clear", &arguments->clear, "Remove all of it, and the counts");
  command.add("--json", &arguments->json, "One JSON object");
  return command;
}

}  // namespace apps
