#include "shared/Logging.h"

#include <fcntl.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/loglog.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <sys/stat.h>
#include <unistd.h>
#include <log4cplus/config.hxx>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "shared/Platform.h"

namespace vorn {
namespace {

const char* const kAppenderName = "VORNSigning";

// In bytes: a quiet log keeps some 60 requests, a verbose one a few whole messages.
constexpr off_t kNormalLimit = 12600;
constexpr off_t kVerboseLimit = 549000;

std::string logFilePath() {
  const std::string home = platform::homeFolder();
  return home.empty() ? home : home + "/vorn-signing.log";
}

/**
 * Makes the file, or takes the one that is there, for the user alone: log4cplus would create it as the umask
 * says. False for what cannot be written or is no file (opening a pipe would wait for its reader for ever).
 */
bool makePrivateFile(const std::string& path) {
  const int file =
      open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (file < 0) {
    return false;
  }
  struct stat status {};
  const bool usable = fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
                      ((status.st_mode & (S_IRWXG | S_IRWXO)) == 0 || fchmod(file, S_IRUSR | S_IWUSR) == 0);
  close(file);
  return usable;
}

bool isVerbose(const std::string& verbose) {
  if (!verbose.empty()) {
    return verbose == "ON";
  }
  const char* const environment = std::getenv("VORN_VERBOSE_LOGGING");
  return environment != nullptr && std::string(environment) == "ON";
}

}  // namespace

namespace logging {

void setUp() {
  // log4cplus itself would complain on standard error about every record that finds no appender.
  log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
  const std::string path = logFilePath();
  if (path.empty()) {
    return;
  }
  log4cplus::initialize();
  configure(path);
  log4cplus::Logger::getRoot().setLogLevel(log4cplus::INFO_LOG_LEVEL);
}

void configure(const std::string& path) {
  log4cplus::Logger root = log4cplus::Logger::getRoot();
  root.removeAppender(LOG4CPLUS_TEXT(kAppenderName));
  if (!makePrivateFile(path)) {
    return;
  }
  log4cplus::SharedAppenderPtr appender(
      new log4cplus::FileAppender(path, std::ios_base::app, /*immediateFlush=*/true, /*createDirs=*/false));
  appender->setLayout(std::make_unique<log4cplus::PatternLayout>(
      LOG4CPLUS_TEXT("%D{%d-%m-%Y %H:%M:%S.%q} [%i] %-5p %c - %m%n")));
  appender->setName(LOG4CPLUS_TEXT(kAppenderName));
  root.addAppender(appender);
}

void setVerbose(const std::string& verbose) {
  const bool on = isVerbose(verbose);
  const std::string path = logFilePath();
  struct stat status {};
  const bool isThere = path.empty() || stat(path.c_str(), &status) == 0;
  const bool isGone = !isThere && errno == ENOENT;
  if (isGone || status.st_size > (on ? kVerboseLimit : kNormalLimit)) {
    log4cplus::Logger::getRoot().removeAppender(LOG4CPLUS_TEXT(kAppenderName));
    std::remove(path.c_str());
    configure(path);
  }
  log4cplus::Logger::getRoot().setLogLevel(on ? log4cplus::DEBUG_LOG_LEVEL : log4cplus::INFO_LOG_LEVEL);
}

}  // namespace logging

}  // namespace vorn
