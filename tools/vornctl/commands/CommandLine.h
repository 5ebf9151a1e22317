#pragma once

namespace vorn::vornctl {

/** Reads the command line and runs the subcommand that it names. Returns the exit status. */
int runCommandLine(int count, char** arguments);

}  // namespace vorn::vornctl
