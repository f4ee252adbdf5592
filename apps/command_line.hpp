// The command line: what a subcommand declares, the help that is made of it, and what is said of
// arguments that do not fit. Only the source of this header includes the library that parses, whose
// headers take long to compile.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace apps {

/// Exit statuses. When several apply, the largest is returned.
enum Status {
  ALL_WELL = 0,
  NOT_ALL_WELL = 1,  // a file was not read or not taken in, or something was found to be wrong
  WRONG_USAGE = 2,
  CANNOT_WRITE = 3,
  INTERRUPTED = 130,
};

/// Input of the program itself (options, state) that cannot be used; leads to WRONG_USAGE.
struct WrongInput : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Options that do not go together; the message is followed by a hint at the command's help.
struct WrongOptions : WrongInput {
  using WrongInput::WrongInput;
};

/// What there is to say of an option besides its name.
struct OptionTraits {
  std::vector<std::string> excludes{};  // by name, declared before
  std::vector<std::string> needs{};     // likewise
  bool required = false;
  bool show_default = false;
};

/// A subcommand: what it declares, and what runs it once the values have been read.
struct Command {
  /// Where the value of an option goes: that of a flag, one text, or any number of texts.
  using Value = std::variant<bool*, std::string*, std::vector<std::string>*>;

  struct Option {
    /// "--json" for a flag, "-o,--output FILE" for an option with a value, "FILE" for an argument.
    std::string name;
    Value value;
    std::string about;
    OptionTraits traits{};
  };

  std::string name;
  std::string about;
  std::vector<std::string> examples;  // of the arguments
  std::function<Status()> run;        // throws WrongOptions for options that do not go together
  std::vector<Option> options{};      // in the order of the help

  void add(std::string option, Value value, std::string text, OptionTraits traits = {}) {
    options.push_back({std::move(option), value, std::move(text), std::move(traits)});
  }
};

/// Reads the arguments and runs the subcommand that they name. Prints help, version and what is
/// wrong with the arguments.
Status run_command_line(int argc, char** argv, const std::vector<Command>& commands);

// The subcommands, each in the source of its name or of its subject.
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
Command cache_command();
Command prune_command();
Command doctor_command();

}  // namespace apps
