#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <iostream>
#include <map>
#include <numeric>
#include <sstream>

#include "shared/base/Version.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"

namespace vorn::vornctl {
namespace {

using Words = std::vector<std::string>;

const std::map<std::string, System> kSystems = {{"linux", System::kLinux}, {"macos", System::kMacOS}};

constexpr const char* kFooter =
    "Exit status: 0 fine, 1 a problem was found or something failed, 2 wrong usage.\n"
    "Every command has its own help, with examples: vornctl help COMMAND. The manual: man vornctl.";

/** Help in lines of a hundred characters at most, and in words of people who run the program. */
class HelpText : public CLI::Formatter {
 public:
  HelpText() {
    column_width(kIndent);
    label("Positionals", "Arguments");
    label("Subcommands", "Commands");
    label("SUBCOMMAND", "COMMAND");
  }

  std::string make_option(const CLI::Option* option, bool isPositional) const override {
    std::string name = make_option_name(option, isPositional);
    if (isPositional)
      name += option->get_expected_max() > 1 ? "..." : "";
    else if (option->get_type_size() != 0)
      name += " " + option->get_type_name();
    return inColumns(name, option->get_description(), kIndent);
  }

  std::string make_option_usage(const CLI::Option* option) const override {
    const std::string name = make_option_name(option, true) + (option->get_expected_max() > 1 ? "..." : "");
    return option->get_required() ? name : "[" + name + "]";
  }

  std::string make_subcommand(const CLI::App* command) const override {
    return inColumns(command->get_name(), command->get_description(), kIndent / 2);
  }

  /** As it was written. */
  std::string make_footer(const CLI::App* app) const override {
    return app->get_footer().empty() ? "" : "\n" + app->get_footer() + "\n";
  }

 private:
  static constexpr std::size_t kIndent = 30;
  static constexpr std::size_t kWidth = 100;

  /** "  NAME      what it does", with the second column in as many lines as it needs. */
  static std::string inColumns(const std::string& name, const std::string& text, std::size_t indent) {
    std::string line = "  " + name;
    std::string result;
    const auto end = [&] {
      result += line + "\n";
      line.clear();
    };
    if (line.size() + 2 > indent) end();
    line.resize(indent, ' ');
    std::istringstream words(text);
    for (std::string word; words >> word;) {
      if (line.size() > indent && line.size() + 1 + word.size() > kWidth) {
        end();
        line.resize(indent, ' ');
      }
      line += (line.size() > indent ? " " : "") + word;
    }
    end();
    return result;
  }
};

CLI::Option* addValue(CLI::App& command, const Option& option) {
  const auto add = [&](auto& value) { return command.add_option(option.names, value, option.text); };
  if (auto* const flag = std::get_if<bool*>(&option.value))
    return command.add_flag(option.names, **flag, option.text);
  if (auto* const text = std::get_if<std::string*>(&option.value)) return add(**text);
  if (auto* const texts = std::get_if<Words*>(&option.value))
    return add(**texts)->allow_extra_args(*option.names != '-');
  return add(*std::get<System*>(option.value))->transform(CLI::CheckedTransformer(kSystems).description(""));
}

void addOption(CLI::App& command, const Option& option) {
  CLI::Option* const added = addValue(command, option);
  added->group(option.group)->required(option.isRequired);
  if (*option.type != '\0') added->type_name(option.type);
  if (!option.choices.empty() && !std::holds_alternative<System*>(option.value))
    added->check(CLI::IsMember(option.choices).description(""));
  if (option.adapt != nullptr) added->transform(CLI::Validator(option.adapt, ""));
  for (const char* const other : option.excluded) added->excludes(command.get_option(other));
}

void addCommand(CLI::App& app, const Command& command, int& status) {
  CLI::App& added = *app.add_subcommand(command.name, command.text);
  std::string footer = std::string("Examples:\n") + command.examples;
  for (const char* const start : {"\nvornctl", "\nsudo"})
    for (std::size_t at = 0; (at = footer.find(start, at)) != std::string::npos;) footer.insert(at + 1, "  ");
  added.footer(footer);
  for (const Option& option : command.options) addOption(added, option);
  added.callback([&command, &status] { status = command.run(); });
}

bool isPath(const Option& option) {
  const std::string_view word = *option.names == '-' ? option.type : option.names;
  return word == "FILE" || word == "FOLDER" || word == "PATH" || word == "PROGRAM";
}

/** What may follow these words of a command line, one in a line with what it does behind a tab; FILES alone
 * where a file is due, and nothing where nobody knows. For the shells' completions. */
std::string completionsOf(const std::vector<Command>& commands, const Words& words) {
  std::string lines;
  const auto add = [&lines](const std::string& word, const std::string& text) {
    lines += word + "\t" + text + "\n";
  };
  const auto addHelp = [&add] { add("--help", "Print this help message and exit"); };
  const auto addChoices = [&add](const Option& option) {
    for (const std::string& choice : option.choices) add(choice, "");
  };
  if (words.empty() || words == Words{"help"})
    for (const Command& one : commands) add(one.name, one.text);
  if (words.empty()) {
    add("help", "Show the help of a command");
    addHelp();
    add("--version", "Display program version information and exit");
    return lines;
  }
  const auto command = std::find_if(commands.begin(), commands.end(),
                                    [&](const Command& one) { return words.front() == one.name; });
  if (command == commands.end()) return lines;
  const auto& options = command->options;
  const auto open = std::find_if(options.begin(), options.end(), [&](const Option& option) {
    return words.back().starts_with('-') && !std::holds_alternative<bool*>(option.value) &&
           ("," + std::string(option.names) + ",").find("," + words.back() + ",") != std::string::npos;
  });
  if (open != options.end()) {
    addChoices(*open);
    return isPath(*open) ? "FILES\n" : lines;
  }
  for (const Option& option : options) {
    if (*option.names == '-') continue;
    if (isPath(option)) lines += "FILES\n";
    if (words.size() == 1) addChoices(option);
  }
  addHelp();
  for (const Option& option : options)
    if (*option.names == '-') add(std::strstr(option.names, "--"), option.text);
  return lines;
}

/** How many letters have to be added, taken away or changed to make one of the other. */
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (const char letter : one) {
    std::size_t diagonal = row[0]++;
    for (std::size_t at = 0; at < other.size(); ++at) {
      const std::size_t changed = diagonal + (letter == other[at] ? 0 : 1);
      diagonal = row[at + 1];
      row[at + 1] = std::min({changed, row[at] + 1, diagonal + 1});
    }
  }
  return row.back();
}

/** Whether the first word is a command, or none was given; if not, says what it may have meant. */
bool isCommand(const std::vector<Command>& commands, const std::string& first) {
  constexpr std::size_t kAlike = 2;
  Words words = {"help", "-h", "--help", "--version"};
  for (const Command& command : commands) words.emplace_back(command.name);
  std::string meant;
  for (const std::string& word : words) {
    if (first == word) return true;
    if (distance(first, word) <= kAlike && word.size() > kAlike) meant += "; did you mean \"" + word + "\"?";
  }
  if (first.empty()) return true;
  std::cerr << "vornctl: there is no " << (first.front() == '-' ? "option" : "command") << " \""
            << printable(first) << "\"" << meant << "\nTry: vornctl --help\n";
  return false;
}

}  // namespace

int fail(int status, const std::string& message) {
  std::cerr << "vornctl: " << printable(message) << "\n";
  return status;
}

jsonxx::Object objectOf(std::initializer_list<std::pair<const char*, jsonxx::Value>> members) {
  jsonxx::Object object;
  for (const auto& [key, value] : members) object.import(key, value);
  return object;
}

jsonxx::Array arrayOf(const std::vector<std::string>& texts) {
  return arrayOf(texts, [](const std::string& text) { return text; });
}

int runCommandLine(int count, char** arguments) {
  std::vector<Command> commands = {registerCommand(), unregisterCommand(), doctorCommand(),
                                   identitiesCommand()};
  for (Command& command : systemCommands()) commands.push_back(std::move(command));
  commands.push_back(signCommand());
  commands.push_back(verifyCommand());
  Words words(arguments + std::min(count, 1), arguments + count);
  if (words.size() > 1 && words.front() == "complete-words") {
    std::cout << completionsOf(commands, {words.begin() + 2, words.end()});
    return kExitFine;
  }
  if (!isCommand(commands, words.empty() ? "" : words.front())) return kExitUsage;
  if (!words.empty() && words.front() == "help") {
    words.erase(words.begin());
    if (!isCommand(commands, words.empty() ? "" : words.front())) return kExitUsage;
    if (words.size() > 1) {
      std::cerr << "vornctl: help takes the name of one command alone\nTry: vornctl help " << words.front()
                << "\n";
      return kExitUsage;
    }
    words.emplace_back("--help");
  }
  CLI::App app("Registers the VORN signing host with browsers, looks for faults, signs and verifies.",
               "vornctl");
  app.set_version_flag("--version", std::string("vornctl ") + version::kFull);
  app.require_subcommand(1);
  app.formatter(std::make_shared<HelpText>());
  app.footer(kFooter);
  app.failure_message([](const CLI::App* at, const CLI::Error& error) {
    std::string command = at->get_name();
    for (const CLI::App* const sub : at->get_subcommands()) command += " " + sub->get_name();
    return "vornctl: " + printable(error.what()) + "\nTry: " + command + " --help\n";
  });
  int status = kExitFine;
  for (const Command& command : commands) addCommand(app, command, status);
  std::reverse(words.begin(), words.end());
  try {
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitFine : kExitUsage;
  }
  return status;
}

}  // namespace vorn::vornctl
