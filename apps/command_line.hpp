// The command line: what a subcommand declares, the help that is made of it, and what is said of
// arguments that do not fit. The library that parses is included by the source of this header
// alone.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace apps {

/// Exit statuses. When several apply, the largest is returned.
enum Status {
  ALL_WELL = 0,
  SOME_FILE_UNPARSED = 1,  // or, of a check, has an error
  WRONG_USAGE = 2,
  CANNOT_WRITE = 3,
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
  struct Option {
    std::string name;  // "--json", "-o,--output", or "FILE" for an argument
    std::string about;
    std::string type{};    // of its value: "DIR"
    bool* flag = nullptr;  // one of these gets the value
    std::string* text = nullptr;
    std::vector<std::string>* list = nullptr;
    OptionTraits traits{};
  };

  std::string name;
  std::string about;
  std::vector<Option> options{};
  std::vector<std::string> examples{};  // of the arguments
  std::function<Status()> run{};
  std::function<void()> check{};  // of options that do not go together: throws WrongOptions

  void add_flag(const std::string& option, bool& value, const std::string& text,
                OptionTraits traits = {});
  void add_option(const std::string& option, std::string& value, const std::string& type,
                  const std::string& text, OptionTraits traits = {});
  void add_options(const std::string& option, std::vector<std::string>& values,
                   const std::string& type, const std::string& text, OptionTraits traits = {});
  /// An argument that must be given, one that need not, and any number of them.
  void add_argument(const std::string& argument, std::string& value, const std::string& text);
  void add_optional_argument(const std::string& argument, std::string& value,
                             const std::string& text);
  void add_arguments(const std::string& argument, std::vector<std::string>& values,
                     const std::string& text, OptionTraits traits = {});
};

/// Reads the arguments and runs the subcommand that they name. Prints help, version and what is
/// wrong with the arguments.
Status run_command_line(int argc, char** argv, std::vector<Command> commands);

/// How many single-character changes (a wrong, missing or needless character, or two that changed
/// places) lead from one text to the other.
std::size_t edit_distance(const std::string& from, const std::string& to);

}  // namespace apps
