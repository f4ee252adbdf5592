#include "apps/command_line.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "apps/terminal.hpp"
#include "outputs/output_file.hpp"

namespace apps {
namespace {

constexpr std::size_t NAME_WIDTH = 24;

/// The parser's help, with descriptions that are wrapped.
class WrappedHelp : public CLI::Formatter {
 public:
  std::string make_option(const CLI::Option* option, bool is_positional) const override {
    return entry(make_option_name(option, is_positional) + make_option_opts(option),
                 make_option_desc(option));
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    std::string text;
    if (!option->get_type_name().empty()) text += " " + option->get_type_name();
    if (!option->get_default_str().empty()) text += "=" + option->get_default_str();
    if (option->get_positional()) return text;
    return text + (option->get_required() ? " (required)" : "");
  }
  std::string make_subcommand(const CLI::App* command) const override {
    return entry(command->get_name(), command->get_description());
  }
  std::string make_description(const CLI::App* command) const override {
    return wrapped(command->get_description(), 0) + "\n";
  }

 private:
  static std::string entry(std::string name, const std::string& description) {
    name = "  " + name;
    if (name.size() + 2 > NAME_WIDTH)
      name += "\n" + std::string(NAME_WIDTH, ' ');
    else
      name.resize(NAME_WIDTH, ' ');
    return name + wrapped(description, NAME_WIDTH) + "\n";
  }
};

std::string without_dashes(const std::string& word) {
  return word.substr(std::min(word.find_first_not_of('-'), word.size()));
}

std::vector<std::string> option_names(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options({})) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::vector<std::string> command_names(const CLI::App& program) {
  std::vector<std::string> names;
  for (const CLI::App* command : program.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

/// How many single-character changes (a wrong, missing or needless character, or two that changed
/// places) lead from one text to the other.
std::size_t edit_distance(const std::string& from, const std::string& to) {
  // The distance between the first i characters of one and the first j of the other, at [i][j].
  std::vector distance(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
  for (std::size_t i = 0; i <= from.size(); ++i) {
    for (std::size_t j = 0; j <= to.size(); ++j) {
      std::size_t& least = distance[i][j];
      least = i + j;
      if (i == 0 || j == 0) continue;
      const std::size_t differs = from[i - 1] == to[j - 1] ? 0 : 1;
      least = std::min(
          {distance[i - 1][j] + 1, distance[i][j - 1] + 1, distance[i - 1][j - 1] + differs});
      const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (swapped) least = std::min(least, distance[i - 2][j - 2] + 1);
    }
  }
  return distance[from.size()][to.size()];
}

/// The one of `names` that was probably meant by `word`, or nothing when none is near.
std::string nearest(const std::string& word, const std::vector<std::string>& names) {
  std::string typed = without_dashes(word);
  for (char& c : typed) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  std::string best;
  std::size_t best_distance = std::max<std::size_t>(1, typed.size() / 3) + 1;
  for (const std::string& name : names) {
    const std::string known = without_dashes(name);
    const bool begun = typed.size() > 1 && known.starts_with(typed);
    const std::size_t distance = begun ? 1 : edit_distance(typed, known);
    if (distance >= best_distance) continue;
    best = name;
    best_distance = distance;
  }
  return best;
}

std::string with_suggestion(const std::string& message, const std::string& suggestion) {
  return suggestion.empty() ? message : message + "; did you mean '" + suggestion + "'?";
}

std::string refused_command(const CLI::App& program, const std::string& word) {
  std::vector<std::string> names = command_names(program);
  for (const std::string& option : option_names(program)) names.push_back(option);
  std::string suggestion = nearest(word, names);
  std::error_code ignored;
  if (suggestion.empty() && std::filesystem::exists(word, ignored)) suggestion = "parse " + word;
  return with_suggestion("unknown command '" + word + "'", suggestion);
}

std::string refused_option(const CLI::App* command, const CLI::App& program,
                           const std::string& argument) {
  const std::string name = argument.substr(0, argument.find('='));
  const std::string message = "unknown option '" + name + "'";
  if (command == nullptr) return with_suggestion(message, nearest(name, option_names(program)));
  const std::vector<std::string> known = option_names(*command);
  if (std::find(known.begin(), known.end(), name) != known.end()) {
    return "option '" + name + "' goes after '" + command->get_name() + "'";
  }
  return with_suggestion(message, nearest(name, known));
}

constexpr const char* EXIT_STATUS =
    "Exit status: 0 all well, 1 some file could not be parsed or was not looked at, a\n"
    "check found an error or something is not as it was, 2 wrong usage or an unusable\n"
    "state, 3 something could not be written, 130 interrupted.";

std::string examples_text(const std::vector<std::string>& examples) {
  std::string text = "Examples:\n";
  for (const std::string& example : examples) text += "  structure-ingest " + example + "\n";
  return text + "\n" + EXIT_STATUS;
}

void set_help_format(CLI::App& program) {
  auto format = std::make_shared<WrappedHelp>();
  format->label("SUBCOMMAND", "COMMAND");
  format->label("OPTIONS", "OPTION...");
  format->label("Positionals", "Arguments");
  program.formatter(format);
}

/// What to tell of arguments that `program` refused with `error`: the first one that it does not
/// know, with the option or command that was probably meant, or else the parser's own words.
std::string refusal_of(const CLI::App& program, const CLI::ParseError& error) {
  const std::vector<CLI::App*> chosen = program.get_subcommands();
  const CLI::App* const command = chosen.empty() ? nullptr : chosen.front();
  const std::vector<std::string> unexpected = program.remaining(true);
  std::string message = error.what();
  if (!unexpected.empty()) {
    const std::string& first = unexpected.front();
    if (first.size() > 1 && first.starts_with('-')) {
      message = refused_option(command, program, first);
    } else {
      message = command == nullptr ? refused_command(program, first)
                                   : "unexpected argument '" + first + "'";
    }
  } else if (command == nullptr) {
    message.clear();
    for (const std::string& name : command_names(program)) {
      message += (message.empty() ? "give a command: " : ", ") + name;
    }
  }
  const std::string name = command == nullptr ? "" : command->get_name() + " ";
  return message + " (see 'structure-ingest " + name + "--help')";
}

CLI::Option* add_option(CLI::App& command, const Command::Option& option) {
  const std::size_t blank = std::min(option.name.find(' '), option.name.size());
  const std::string name = option.name.substr(0, blank);
  const auto add = [&](auto* value) {
    if constexpr (std::is_same_v<decltype(value), bool*>) {
      return command.add_flag(name, *value, option.about);
    } else {
      return command.add_option(name, *value, option.about);
    }
  };
  CLI::Option* const added = std::visit(add, option.value);
  return added->type_name(option.name.substr(std::min(blank + 1, option.name.size())));
}

void add_version_flag(CLI::App& command) {
  command
      .set_version_flag("--version", std::string("structure-ingest ") + STRUCTURE_INGEST_VERSION)
      ->description("Print the version and exit");
}

/// Declares a subcommand in the terms of the parser.
void add_command(CLI::App& program, const Command& command) {
  CLI::App* const added = program.add_subcommand(command.name, command.about);
  for (const Command::Option& declared : command.options) {
    CLI::Option* const option = add_option(*added, declared);
    const OptionTraits& traits = declared.traits;
    for (const std::string& other : traits.excludes) option->excludes(added->get_option(other));
    for (const std::string& other : traits.needs) option->needs(added->get_option(other));
    option->required(traits.required);
    if (traits.show_default) option->capture_default_str();
  }
  add_version_flag(*added);
  added->footer(examples_text(command.examples));
  added->group("Commands");
}

/// The arguments, last one first as the option parser takes them. It would read a path in square
/// brackets as a list of several; the same path with "./" in front it leaves alone.
std::vector<std::string> reversed_arguments(int argc, char** argv) {
  std::vector<std::string> arguments;
  for (int i = argc - 1; i > 0; --i) {
    const std::string_view argument = argv[i];
    const bool in_brackets = argument.starts_with('[') && argument.ends_with(']');
    arguments.push_back((in_brackets ? "./" : "") + std::string(argument));
  }
  return arguments;
}

auto find_command(const std::vector<Command>& commands, std::string_view name) {
  return std::find_if(commands.begin(), commands.end(),
                      [name](const Command& each) { return each.name == name; });
}

}  // namespace

Status run_command_line(int argc, char** argv, const std::vector<Command>& commands) {
  CLI::App program("Takes the atomic-structure files that a user supplies into a project.",
                   "structure-ingest");
  set_help_format(program);
  program.set_help_flag("-h,--help", "Print this help and exit");
  program.require_subcommand(1, 1);
  const bool is_named = argc > 1 && find_command(commands, argv[1]) != commands.end();
  for (const Command& command : commands) {
    // To declare the options of all takes half of the time of a small parse.
    if (!is_named || command.name == argv[1]) add_command(program, command);
  }
  program.footer(examples_text({"parse water.xyz crystal.cif",
                                "hydrate --project my_project ~/water.xyz", "COMMAND --help"}));
  add_version_flag(program);
  try {
    program.parse(reversed_arguments(argc, argv));
  } catch (const CLI::Success& request) {
    program.exit(request);  // prints the help or the version
    return ALL_WELL;
  } catch (const CLI::ParseError& error) {
    print_error(refusal_of(program, error));
    return WRONG_USAGE;
  }
  const std::string name = program.get_subcommands().front()->get_name();
  try {
    return find_command(commands, name)->run();
  } catch (const outputs::RefusedOutput& error) {
    throw WrongInput(error.what() + std::string(error.exists ? "; --force replaces it" : ""));
  } catch (const WrongOptions& error) {
    throw WrongInput(error.what() + (" (see 'structure-ingest " + name + " --help')"));
  }
}

}  // namespace apps
