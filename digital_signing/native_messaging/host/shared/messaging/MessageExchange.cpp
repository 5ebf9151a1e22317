#include "shared/messaging/MessageExchange.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <utility>

#include "shared/Exceptions.h"
#include "shared/RequestHandler.h"
#include "shared/json/Utf8.h"
#include "shared/messaging/IdleTimer.h"
#include "shared/request/ErrorResponse.h"

namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

constexpr int kFatalRequest = 1;

// Chromium and Firefox drop a longer one, and the connection with it.
constexpr std::size_t kLargestBrowserMessage = 1048576;

}  // namespace

MessageExchange::MessageExchange(Write write) : write_(std::move(write)) {}

std::optional<int> MessageExchange::deliver(std::string_view bytes) {
  try {
    frames_.append(bytes);
    answerCompleteMessages();
    return std::nullopt;
  } catch (const OutputClosed& closed) {
    LOG4CPLUS_INFO(logger, "The browser has gone: " << closed.what());
    LOG4CPLUS_INFO(logger, "Executable removed");
    return 0;
  } catch (const InvalidArgumentException& invalid) {
    return fail(invalid.code(), invalid.message());
  } catch (const std::exception& stray) {
    return fail(TechnicalException(stray.what()).code(), stray.what());
  } catch (...) {
    const TechnicalException unknown("Unknown failure");
    return fail(unknown.code(), unknown.message());
  }
}

void MessageExchange::answerCompleteMessages() {
  while (std::optional<std::string> message = frames_.next()) {
    LOG4CPLUS_DEBUG(logger, "Request message = " << *message);
    sendMessage(answerTo(std::move(*message)));
    IdleTimer::getInstance().start();
  }
}

std::string MessageExchange::answerTo(std::string message) {
  RequestHandler handler(std::move(message), &parts_);
  // A frame that is not UTF-8 makes a browser drop the whole channel.
  std::string text = replaceInvalidUtf8(handler.handleRequest().json());
  if (const std::optional<std::size_t> limit = handler.largestAnswer()) {
    text = parts_.fit(std::move(text), *limit);
  }
  return text;
}

std::optional<int> MessageExchange::fail(std::uint32_t code, const std::string& message) {
  LOG4CPLUS_ERROR(logger, message);
  int status = kFatalRequest;
  try {
    jsonxx::Object response;
    appendError(response, code, message);
    sendMessage(replaceInvalidUtf8(response.json()));
  } catch (const std::exception& unanswered) {
    LOG4CPLUS_ERROR(logger, "The error could not be sent: " << unanswered.what());
    status = dynamic_cast<const OutputClosed*>(&unanswered) != nullptr ? 0 : kFatalRequest;
  }
  LOG4CPLUS_INFO(logger, "Executable removed");
  return status;
}

void MessageExchange::sendMessage(const std::string& text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  LOG4CPLUS_INFO(logger, "Sending response message");
  LOG4CPLUS_INFO(logger, "Response message length = " << length);
  LOG4CPLUS_DEBUG(logger, "Response message = " << text);
  if (text.size() > kLargestBrowserMessage) {
    LOG4CPLUS_WARN(
        logger, "Response message is larger than browsers accept (" << kLargestBrowserMessage << " bytes)");
  }
  write_({reinterpret_cast<const char*>(&length), sizeof length});
  write_(text);
  LOG4CPLUS_INFO(logger, "Response message sent");
}
