#include "shared/base/Logging.h"

#include <log4cplus/appender.h>
#include <log4cplus/helpers/loglog.h>
#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/spi/loggingevent.h>
#include <syslog.h>
#include <log4cplus/config.hxx>

#include <iostream>
#include <memory>
#include <utility>

#include "mac/app/HarmlessLayout.h"
#include "mac/app/LogFile.h"
#include "shared/base/Platform.h"
#include "shared/text/HarmlessText.h"

namespace vorn {
namespace {

const char* const kAppenderName = "VORNSigning";

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

// In bytes: a quiet log keeps some nine requests to sign, a verbose one a few whole messages.
constexpr off_t kNormalLimit = 12600;
constexpr off_t kVerboseLimit = 549000;
// More than one request can have logged: a host that is asked for parts without end does not fill the disk.
constexpr off_t kLimitForParts = 2 * off_t{HarmlessLayout::kBudget};

std::string logFilePath() {
  const std::string home = platform::homeFolder();
  return home.empty() ? home : home + "/vorn-signing.log";
}

/** The one word on a log that there is not: nobody would look for it in vain. */
void reportMissing(const std::string& path, const std::string& fault) {
  static bool reported = false;
  if (std::exchange(reported, true)) return;
  const std::string report = "no log is written to " + vorn::harmlessText(path) + ": " + fault;
  std::cerr << "vorn-signing: " << report << std::endl;
  platform::tellSystemLog(LOG_WARNING, report);
}

/** Writes to the file that has the log's name by now: another host may have begun it anew. */
class LogFileAppender : public log4cplus::Appender {
 public:
  explicit LogFileAppender(const std::string& path) : path_(path) { openAgain(); }
  ~LogFileAppender() override { destructorImpl(); }
  void close() override { closed = true; }

 protected:
  void append(const log4cplus::spi::InternalLoggingEvent& event) override {
    if (!file_->isAt(path_)) openAgain();
    if (!file_->fault().empty()) return;
    const std::string fault = file_->append(formatEvent(event));
    if (!fault.empty()) reportMissing(path_, fault);
  }

 private:
  void openAgain() {
    file_ = std::make_unique<LogFile>(path_);
    if (!file_->fault().empty()) reportMissing(path_, file_->fault());
  }

  const std::string path_;
  std::unique_ptr<LogFile> file_;
};

/** Signatures that the system's log was not told of since `tellOfLoss`. */
std::size_t lost = 0;
/** Those of before that it does not know to be missing. */
std::size_t missing = 0;

/** Each record is a line of the system's log. */
class SystemLogAppender : public log4cplus::Appender {
 public:
  ~SystemLogAppender() override { destructorImpl(); }
  void close() override { closed = true; }

 protected:
  void append(const log4cplus::spi::InternalLoggingEvent& event) override {
    const std::string fault = platform::tellSystemLog(LOG_INFO, vorn::harmlessText(event.getMessage()));
    if (fault.empty()) return;
    ++lost;
    if (!std::exchange(warned_, true))
      LOG4CPLUS_WARN(logger, "The system's log is not told of signatures: " << fault);
  }

 private:
  bool warned_ = false;
};

void openSystemLog() {
  platform::openSystemLog();
  log4cplus::Logger records = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT(logging::kSystemLog));
  records.setAdditivity(false);
  records.removeAllAppenders();
  records.addAppender(log4cplus::SharedAppenderPtr(new SystemLogAppender));
}

std::string lossOf(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " signature was" : " signatures were") +
         " not told to the system's log";
}

/** Starts the file again if it is longer than so many bytes. */
void restartAbove(off_t limit) {
  const std::string path = logFilePath();
  if (!path.empty() && LogFile(path).removeAbove(limit, path)) logging::configure(path);
}

bool isVerbose(const std::string& verbose) {
  return (verbose.empty() ? platform::environment("VORN_VERBOSE_LOGGING") : verbose) == "ON";
}

}  // namespace

namespace logging {

void setUp() {
  // log4cplus itself would complain on standard error about every record that finds no appender.
  log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
  log4cplus::initialize();
  openSystemLog();
  const std::string path = logFilePath();
  if (path.empty()) return;
  configure(path);
  log4cplus::Logger::getRoot().setLogLevel(log4cplus::INFO_LOG_LEVEL);
}

void configure(const std::string& path) {
  log4cplus::Logger root = log4cplus::Logger::getRoot();
  root.removeAppender(LOG4CPLUS_TEXT(kAppenderName));
  log4cplus::SharedAppenderPtr appender(new LogFileAppender(path));
  appender->setLayout(
      std::make_unique<HarmlessLayout>(LOG4CPLUS_TEXT("%D{%d-%m-%Y %H:%M:%S.%q} [%i] %-5p %c - %m%n")));
  appender->setName(LOG4CPLUS_TEXT(kAppenderName));
  root.addAppender(appender);
}

void setVerbose(const std::string& verbose) {
  HarmlessLayout::renewBudget();
  const bool on = isVerbose(verbose);
  restartAbove(on ? kVerboseLimit : kNormalLimit);
  log4cplus::Logger::getRoot().setLogLevel(on ? log4cplus::DEBUG_LOG_LEVEL : log4cplus::INFO_LOG_LEVEL);
}

void carryOn() {
  restartAbove(kLimitForParts);
}

void tellOfLoss() {
  if (lost > 0) LOG4CPLUS_WARN(logger, lossOf(lost));
  missing += std::exchange(lost, 0);
  if (missing > 0 && platform::tellSystemLog(LOG_WARNING, lossOf(missing)).empty()) missing = 0;
}

}  // namespace logging

}  // namespace vorn
