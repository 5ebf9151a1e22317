#pragma once

#include <string>

/** The log file "vorn-signing.log" in the user's home folder. It is for the user alone (mode 0600): at DEBUG
 * it holds whole requests. Whatever fails here, the host goes on without a log. */
namespace vorn::logging {

/** The logger whose records are lines of the system's own log (syslog), where no later request reaches them.
 */
inline constexpr const char* kSystemLog = "SystemLog";

/** Called once, before anything is logged. */
void setUp();

/** Has the log written to `path`, and nowhere else. */
void configure(const std::string& path);

/** Sets the level for the request at hand: DEBUG when `verbose` is "ON", or empty while VORN_VERBOSE_LOGGING
 * is "ON" in the environment; INFO otherwise. A file that has outgrown the level's limit is started again.
 * What a request has logged in full is bounded, whatever it holds. */
void setVerbose(const std::string& verbose);

/** For a request that goes on with the one before: leaves level and file as they are, within reason. */
void carryOn();

/** To be called when a request has ended: says, where the system's log was not told of signatures, of how
 * many. */
void tellOfLoss();

}  // namespace vorn::logging
