// The subcommands of the program.
#pragma once

#include "apps/command_line.hpp"

namespace apps {

Command parse_command();
Command check_command();
Command ingest_command();
Command hydrate_command();
Command owner_command();
Command belongs_command();
Command trust_command();
Command scan_command();
Command list_command();
Command verify_command();
Command forget_command();
Command extract_command();
Command picture_command();
Command report_command();
Command serve_command();

}  // namespace apps
