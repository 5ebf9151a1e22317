#include "shared/Logging.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/helpers/loglog.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <sys/stat.h>
#include <unistd.h>
#include <log4cplus/config.hxx>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <utility>

#include "mac/app/HarmlessLayout.h"
#include "mac/app/LogFile.h"
#include "shared/Platform.h"
#include "shared/text/HarmlessText.h"

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

/** Holds the file for as long as log4cplus writes to it, and opens it by its own name alone. */
class LogFileAppender : public log4cplus::FileAppender {
 public:
  explicit LogFileAppender(std::unique_ptr<LogFile> file)
      : FileAppender(file->ownName(), std::ios_base::app, /*immediateFlush=*/true, /*createDirs=*/false),
        file_(std::move(file)) {}

 private:
  std::unique_ptr<LogFile> file_;
};

/** The one word on a log that there is not: nobody would look for it in vain. */
void reportMissing(const std::string& path, const std::string& fault) {
  static bool reported = false;
  if (!std::exchange(reported, true)) {
    std::cerr << "vorn-signing: no log is written to " << vorn::harmlessText(path) << ": " << fault
              << std::endl;
  }
}

bool isVerbose(const std::string& verbose) {
  if (!verbose.empty()) return verbose == "ON";
  const char* const environment = std::getenv("VORN_VERBOSE_LOGGING");
  return environment != nullptr && std::string(environment) == "ON";
}

}  // namespace

namespace logging {

void setUp() {
  // log4cplus itself would complain on standard error about every record that finds no appender.
  log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
  const std::string path = logFilePath();
  if (path.empty()) return;
  log4cplus::initialize();
  configure(path);
  log4cplus::Logger::getRoot().setLogLevel(log4cplus::INFO_LOG_LEVEL);
}

void configure(const std::string& path) {
  log4cplus::Logger root = log4cplus::Logger::getRoot();
  root.removeAppender(LOG4CPLUS_TEXT(kAppenderName));
  auto file = std::make_unique<LogFile>(path);
  if (!file->fault().empty()) {
    reportMissing(path, file->fault());
    return;
  }
  log4cplus::SharedAppenderPtr appender(new LogFileAppender(std::move(file)));
  appender->setLayout(
      std::make_unique<HarmlessLayout>(LOG4CPLUS_TEXT("%D{%d-%m-%Y %H:%M:%S.%q} [%i] %-5p %c - %m%n")));
  appender->setName(LOG4CPLUS_TEXT(kAppenderName));
  root.addAppender(appender);
}

void setVerbose(const std::string& verbose) {
  HarmlessLayout::renewBudget();
  const bool on = isVerbose(verbose);
  const std::string path = logFilePath();
  struct stat status{};
  const bool isThere = path.empty() || lstat(path.c_str(), &status) == 0;
  const bool isGone = !isThere && errno == ENOENT;
  // What LogFile would not write to is not ours to start again either.
  const bool isOurs = S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1;
  const bool isTooLong = isOurs && status.st_size > (on ? kVerboseLimit : kNormalLimit);
  if (isGone || isTooLong) {
    log4cplus::Logger::getRoot().removeAppender(LOG4CPLUS_TEXT(kAppenderName));
    std::remove(path.c_str());
    configure(path);
  }
  log4cplus::Logger::getRoot().setLogLevel(on ? log4cplus::DEBUG_LOG_LEVEL : log4cplus::INFO_LOG_LEVEL);
}

}  // namespace logging

}  // namespace vorn
