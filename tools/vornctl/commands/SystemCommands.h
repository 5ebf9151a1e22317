#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace vorn::vornctl {

/** Adds the subcommands that only this system has. */
void addSystemCommands(CLI::App& app, int& status);

/** Adds a subcommand. Its options, which the result leads to, live as long as the parser. */
template <typename Options>
std::shared_ptr<Options> addCommand(CLI::App& app, CLI::App*& command, const char* name,
                                    const char* description, int (*run)(const Options&), int& status,
                                    const std::string& examples = "") {
  command = app.add_subcommand(name, description);
  std::string footer = examples.empty() ? "" : "Examples:\n" + examples;
  for (const char* const start : {"\nvornctl", "\nsudo"})
    for (std::size_t at = 0; (at = footer.find(start, at)) != std::string::npos;) footer.insert(at + 1, "  ");
  command->footer(footer);
  auto options = std::make_shared<Options>();
  command->callback([options, run, &status] { status = run(*options); });
  return options;
}

}  // namespace vorn::vornctl
