// The subcommands of the program: each declares its options and says what it does.
#pragma once

#include <functional>

namespace CLI {
class App;
}  // namespace CLI

namespace apps {

/// Exit statuses. When several apply, the largest is returned.
enum Status {
  ALL_WELL = 0,
  SOME_FILE_UNPARSED = 1,  // or, of a check, has an error
  WRONG_USAGE = 2,
  CANNOT_WRITE = 3,
};

/// Runs a subcommand whose options have been parsed.
using Command = std::function<Status()>;

/// Declares a subcommand of `program`; what it returns runs it.
Command add_parse(CLI::App& program);
Command add_check(CLI::App& program);
Command add_ingest(CLI::App& program);
Command add_hydrate(CLI::App& program);
Command add_owner(CLI::App& program);
Command add_belongs(CLI::App& program);
Command add_trust(CLI::App& program);
Command add_scan(CLI::App& program);
Command add_list(CLI::App& program);
Command add_verify(CLI::App& program);
Command add_forget(CLI::App& program);
Command add_extract(CLI::App& program);
Command add_picture(CLI::App& program);
Command add_report(CLI::App& program);
Command add_serve(CLI::App& program);

}  // namespace apps
