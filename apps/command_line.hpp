// The command line: help that fits a terminal, and what to say of arguments that do not fit.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace apps {

/// Has the help of `program`, and of the subcommands added later, wrapped to 80 columns.
void set_help_format(CLI::App& program);

/// Lines to show below the help of a subcommand, each an example of its arguments.
void add_examples(CLI::App& command, const std::vector<std::string>& examples);

/// What to tell of arguments that `program` refused with `error`: the first one that it does not
/// know, with the option or command that was probably meant, or else the parser's own words.
std::string refusal_of(const CLI::App& program, const CLI::ParseError& error);

/// How many single-character changes (a wrong, missing or needless character, or two that changed
/// places) lead from one text to the other.
std::size_t edit_distance(const std::string& from, const std::string& to);

}  // namespace apps
