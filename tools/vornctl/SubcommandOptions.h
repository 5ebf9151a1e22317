#pragma once

#include <CLI/CLI.hpp>
#include <memory>

namespace vorn::vornctl {

/** Adds a subcommand. Its options, which the result leads to, live as long as the parser. */
template <typename Options>
std::shared_ptr<Options> addCommand(CLI::App& app, CLI::App*& command, const char* name,
                                    const char* description, int (*run)(const Options&), int& status) {
  command = app.add_subcommand(name, description);
  auto options = std::make_shared<Options>();
  command->callback([options, run, &status] { status = run(*options); });
  return options;
}

}  // namespace vorn::vornctl
