#include "vornctl/commands/HelpText.h"

#include <algorithm>
#include <sstream>

#include "shared/base/SignatureAlgorithm.h"
#include "vornctl/browsers/BrowserTable.h"

namespace vorn::vornctl {
namespace {

constexpr std::size_t kWidth = 100;

std::string typeOf(const CLI::Option& option) {
  return option.get_type_size() == 0 ? "" : option.get_type_name();
}

/** "  NAME      what it does", with the second column in as many lines as it needs. */
std::string inColumns(const std::string& name, const std::string& text, std::size_t indent) {
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

/** The values of an option that takes one of a few. */
std::vector<std::string> valuesOf(const CLI::Option& option) {
  if (option.check_lname("browser")) return browserNames();
  if (option.check_lname("target-system")) return {"linux", "macos"};
  if (option.get_name() == "STATE") return {"on", "off"};
  std::vector<std::string> names;
  if (option.check_lname("algorithm"))
    for (const NamedAlgorithm& known : kSignatureAlgorithms) names.emplace_back(known.name);
  return names;
}

bool isPath(const CLI::Option& option) {
  const std::string type = option.get_positional() ? option.get_name() : typeOf(option);
  return type == "FILE" || type == "FOLDER" || type == "PATH" || type == "PROGRAM";
}

}  // namespace

HelpText::HelpText() {
  column_width(kIndent);
  label("Positionals", "Arguments");
  label("Subcommands", "Commands");
  label("SUBCOMMAND", "COMMAND");
}

std::string HelpText::make_option(const CLI::Option* option, bool isPositional) const {
  std::string name = make_option_name(option, isPositional);
  if (isPositional)
    name += option->get_expected_max() > 1 ? "..." : "";
  else if (!typeOf(*option).empty())
    name += " " + typeOf(*option);
  return inColumns(name, option->get_description(), kIndent);
}

std::string HelpText::make_option_usage(const CLI::Option* option) const {
  const std::string name = make_option_name(option, true) + (option->get_expected_max() > 1 ? "..." : "");
  return option->get_required() ? name : "[" + name + "]";
}

std::string HelpText::make_subcommand(const CLI::App* command) const {
  return inColumns(command->get_name(), command->get_description(), kIndent / 2);
}

std::string HelpText::make_footer(const CLI::App* app) const {
  return app->get_footer().empty() ? "" : "\n" + app->get_footer() + "\n";
}

std::string completionsOf(const CLI::App& app, const std::vector<std::string>& words) {
  const auto isCommand = [](const CLI::App* command) { return !command->get_group().empty(); };
  const auto commands = app.get_subcommands(isCommand);
  const auto command = std::find_if(commands.begin(), commands.end(), [&](const CLI::App* one) {
    return !words.empty() && one->get_name() == words.front();
  });
  std::string lines;
  const auto add = [&lines](const std::string& word, const std::string& text) {
    lines += word + "\t" + text + "\n";
  };
  if (command == commands.end() && (words.empty() || words == std::vector<std::string>{"help"}))
    for (const CLI::App* const one : commands) add(one->get_name(), one->get_description());
  if (words.empty()) add("help", "Show the help of a command");
  if (command == commands.end() && !words.empty()) return lines;
  const CLI::App& at = command == commands.end() ? app : **command;
  const auto options = at.get_options();
  const CLI::Option* const open = words.size() > 1 ? at.get_option_no_throw(words.back()) : nullptr;
  if (open != nullptr && !open->get_positional() && open->get_type_size() != 0) {
    for (const std::string& value : valuesOf(*open)) add(value, "");
    return isPath(*open) ? "FILES\n" : lines;
  }
  const bool takesFiles = std::any_of(options.begin(), options.end(), [](const CLI::Option* option) {
    return option->get_positional() && isPath(*option);
  });
  if (takesFiles) lines += "FILES\n";
  for (const CLI::Option* const option : options)
    if (option->get_positional() && words.size() == 1)
      for (const std::string& value : valuesOf(*option)) add(value, "");
  for (const CLI::Option* const option : options)
    if (!option->get_positional() && !option->get_lnames().empty())
      add("--" + option->get_lnames().front(), option->get_description());
  return lines;
}

}  // namespace vorn::vornctl
