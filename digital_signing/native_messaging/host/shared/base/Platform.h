#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

/** All that the shared code asks of the operating system beside files and
 * clocks; each system supplies its own. */
namespace vorn::platform {

struct SystemVersion {
  int major = 0;
  int minor = 0;
  int bugFix = 0;
};

/** The current user's home folder, without a slash at its end; empty when it cannot be found. */
std::string homeFolder();

/** A variable of the environment; empty when it is not set. */
inline std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

/** The folder that the environment variable names, if it is absolute as the XDG Base Directory standard
 * demands; else the one below the home folder. */
inline std::filesystem::path baseFolder(const char* variable, const std::filesystem::path& belowHome) {
  const std::filesystem::path folder = environment(variable);
  return folder.is_absolute() ? folder : homeFolder() / belowHome;
}

/** The operating system's version; a number that the system does not tell is 0. */
SystemVersion systemVersion();

/** The path of what is installed: the application bundle, or the program
 * itself. Empty when it cannot be found. */
std::string installedPath();

/** To be called once, before the process gives up making sockets. */
void openSystemLog();

/** Gives the system's own log a line, with one of the levels of syslog.h, and says why it was not taken, or
 * nothing. Waits for a listener that has fallen behind, but for no more than a second in ten. */
std::string tellSystemLog(int level, const std::string& line);

}  // namespace vorn::platform
