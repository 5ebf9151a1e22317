#pragma once

namespace CLI {
class App;
}

namespace vorn::vornctl {

/** Adds the subcommands that only this system has. */
void addSystemCommands(CLI::App& app, int& status);

}  // namespace vorn::vornctl
