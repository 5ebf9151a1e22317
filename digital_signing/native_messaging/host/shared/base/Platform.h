#pragma once

#include <string>

/**
 * All that the shared code asks of the operating system beside files and
 * clocks; each system supplies its own.
 */
namespace vorn::platform {

struct SystemVersion {
  int major = 0;
  int minor = 0;
  int bugFix = 0;
};

/** The current user's home folder, without a slash at its end; empty when it cannot be found. */
std::string homeFolder();

/** The operating system's version; a number that the system does not tell is 0. */
SystemVersion systemVersion();

/**
 * The path of what is installed: the application bundle, or the program
 * itself. Empty when it cannot be found.
 */
std::string installedPath();

/** To be called once, before the process gives up making sockets. */
void openSystemLog();

/** Gives the system's own log a line, with one of the levels of syslog.h, and says why it was not taken, or
 * nothing. Waits for a listener that has fallen behind, but for no more than a second in ten. */
std::string tellSystemLog(int level, const std::string& line);

}  // namespace vorn::platform
