// Ctrl-C, and whatever else asks the program to end: what is done by then is kept.
#pragma once

#include <cstddef>
#include <string>

namespace apps {

/// From now on the first of SIGINT, SIGTERM and SIGHUP only asks for the end, and the second ends
/// the program at once. A signal that is ignored stays so.
void end_in_order();

/// Whether the end was asked for.
bool is_interrupted();

/// Tells how far the work came: "interrupted: 331 of 1000 files were read; ...".
void warn_interrupted(std::size_t done, std::size_t total, const std::string& what_was_kept);

}  // namespace apps
