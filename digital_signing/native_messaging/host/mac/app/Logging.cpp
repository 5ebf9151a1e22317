#include "shared/base/Logging.h"

#include <log4cplus/appender.h>
#include <log4cplus/helpers/loglog.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/spi/loggingevent.h>
#include <syslog.h>
#include <log4cplus/config.hxx>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <utility>

#include "mac/app/LogFile.h"
#include "shared/base/Platform.h"
#include "shared/text/HarmlessText.h"
#include "shared/text/Utf8.h"

namespace vorn {
namespace {

const char* const kAppenderName = "VORNSigning";

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

// In bytes, for what one request logs in full, however small each message is; of what is more the beginnings
// are told.
constexpr std::size_t kBudget = std::size_t{48} << 20;

// So much of a message is kept when the budget is used up.
constexpr std::size_t kBeginning = 1000;

std::atomic<std::size_t> left = kBudget;

/** The message as far as the budget lasts, which it is charged to; `size` bytes are what it takes in full. */
bool isWithinBudget(std::size_t size) {
  std::size_t before = left;
  while (size <= before)
    if (left.compare_exchange_weak(before, before - size)) return true;
  return false;
}

std::string beginningOf(const std::string& message) {
  return std::string(cutUtf8(message, kBeginning)) + "... (" + std::to_string(message.size()) +
         " bytes, too much for one request's log)";
}

/** The pattern's layout, with every message made harmless first: whatever a page, an extension or a
 * certificate had written into it, one record is one line, and no other text can pass for a record. */
class HarmlessLayout : public log4cplus::PatternLayout {
 public:
  using PatternLayout::PatternLayout;

  void formatAndAppend(log4cplus::tostream& output,
                       const log4cplus::spi::InternalLoggingEvent& event) override {
    const std::string& message = event.getMessage();
    const bool isShort = message.size() <= kBeginning;
    const bool isPlain = isHarmless(message);
    if (isPlain && (isShort || isWithinBudget(message.size()))) {
      PatternLayout::formatAndAppend(output, event);
      return;
    }
    std::string text = isPlain ? beginningOf(message) : harmlessText(message);
    if (!isPlain && !isShort && !isWithinBudget(text.size())) text = beginningOf(text);
    const log4cplus::spi::InternalLoggingEvent told(
        event.getLoggerName(), event.getLogLevel(), event.getNDC(), event.getMDCCopy(), text,
        event.getThread(), event.getThread2(), event.getTimestamp(), event.getFile(), event.getLine(),
        event.getFunction());
    PatternLayout::formatAndAppend(output, told);
  }
};

// In bytes: a quiet log keeps some nine requests to sign, a verbose one a few whole messages.
constexpr off_t kNormalLimit = 12600;
constexpr off_t kVerboseLimit = 549000;
// More than one request can have logged: a host that is asked for parts without end does not fill the disk.
constexpr off_t kLimitForParts = 2 * off_t{kBudget};

std::string logFilePath() {
  const std::string home = platform::homeFolder();
  return home.empty() ? home : home + "/vorn-signing.log";
}

/** The one word on a log that there is not: nobody would look for it in vain. */
void reportMissing(const std::string& path, const std::string& fault) {
  static bool reported = false;
  if (std::exchange(reported, true)) return;
  const std::string report = "no log is written to " + harmlessText(path) + ": " + fault;
  std::cerr << "vorn-signing: " << report << std::endl;
  platform::tellSystemLog(LOG_WARNING, report);
}

/** Writes to the file that has the log's name by now: another host may have begun it anew. */
class LogFileAppender : public log4cplus::Appender {
 public:
  explicit LogFileAppender(const std::string& path) : path_(path) { openAgain(); }
  ~LogFileAppender() override { destructorImpl(); }
  void close() override { closed = true; }

  /** Starts the file again if it is longer than so many bytes; for the one thread that logs. */
  void restartAbove(off_t limit) {
    if (!file_->isAt(path_)) openAgain();
    if (file_->removeAbove(limit, path_)) openAgain();
  }

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
    const std::string fault = platform::tellSystemLog(LOG_INFO, harmlessText(event.getMessage()));
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

void restartAbove(off_t limit) {
  const auto appender = log4cplus::Logger::getRoot().getAppender(LOG4CPLUS_TEXT(kAppenderName));
  if (appender) static_cast<LogFileAppender&>(*appender).restartAbove(limit);
}

bool isVerbose(const std::string& verbose) {
  return (verbose.empty() ? platform::environment("VORN_VERBOSE_LOGGING") : verbose) == "ON";
}

}  // namespace

void logging::setUp() {
  // log4cplus itself would complain on standard error about every record that finds no appender.
  log4cplus::helpers::LogLog::getLogLog()->setQuietMode(true);
  log4cplus::initialize();
  openSystemLog();
  const std::string path = logFilePath();
  if (path.empty()) return;
  configure(path);
  log4cplus::Logger::getRoot().setLogLevel(log4cplus::INFO_LOG_LEVEL);
}

void logging::configure(const std::string& path) {
  log4cplus::Logger root = log4cplus::Logger::getRoot();
  root.removeAppender(LOG4CPLUS_TEXT(kAppenderName));
  log4cplus::SharedAppenderPtr appender(new LogFileAppender(path));
  appender->setLayout(
      std::make_unique<HarmlessLayout>(LOG4CPLUS_TEXT("%D{%d-%m-%Y %H:%M:%S.%q} [%i] %-5p %c - %m%n")));
  appender->setName(LOG4CPLUS_TEXT(kAppenderName));
  root.addAppender(appender);
}

void logging::setVerbose(const std::string& verbose) {
  left = kBudget;
  const bool on = isVerbose(verbose);
  restartAbove(on ? kVerboseLimit : kNormalLimit);
  log4cplus::Logger::getRoot().setLogLevel(on ? log4cplus::DEBUG_LOG_LEVEL : log4cplus::INFO_LOG_LEVEL);
}

void logging::carryOn() {
  restartAbove(kLimitForParts);
}

void logging::tellOfLoss() {
  if (lost > 0) LOG4CPLUS_WARN(logger, lossOf(lost));
  missing += std::exchange(lost, 0);
  if (missing > 0 && platform::tellSystemLog(LOG_WARNING, lossOf(missing)).empty()) missing = 0;
}

}  // namespace vorn
