#include "apps/command_line.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "apps/terminal.hpp"

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

}  // namespace

void set_help_format(CLI::App& program) {
  auto format = std::make_shared<WrappedHelp>();
  format->label("SUBCOMMAND", "COMMAND");
  format->label("OPTIONS", "OPTION...");
  format->label("Positionals", "Arguments");
  program.formatter(format);
}

void add_examples(CLI::App& command, const std::vector<std::string>& examples) {
  std::string footer = "Examples:\n";
  for (const std::string& example : examples) footer += "  structure-ingest " + example + "\n";
  command.footer(footer + "\n" + command.get_parent()->get_footer());
}

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
    message = "give a command:";
    std::string separator = " ";
    for (const std::string& name : command_names(program)) {
      message += std::exchange(separator, ", ") + name;
    }
  }
  const std::string name = command == nullptr ? "" : command->get_name() + " ";
  return message + " (see 'structure-ingest " + name + "--help')";
}

std::size_t edit_distance(const std::string& from, const std::string& to) {
  // The rows for the prefixes of `from` that are two, one and no character shorter.
  std::vector<std::size_t> before_last(to.size() + 1);
  std::vector<std::size_t> last(to.size() + 1);
  std::vector<std::size_t> row(to.size() + 1);
  for (std::size_t j = 0; j <= to.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= from.size(); ++i) {
    before_last.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t differs = from[i - 1] == to[j - 1] ? 0 : 1;
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + differs});
      const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (swapped) row[j] = std::min(row[j], before_last[j - 2] + 1);
    }
  }
  return row[to.size()];
}

}  // namespace apps
