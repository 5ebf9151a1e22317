#include "shared/messaging/MessageExchange.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <utility>

#include "shared/RequestHandler.h"
#include "shared/base/Exceptions.h"
#include "shared/base/IdleTimer.h"
#include "shared/base/SignatureRecord.h"
#include "shared/text/Utf8.h"

namespace vorn {
namespace {

const log4cplus::Logger exchangeLog = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

constexpr int kFatalRequest = 1;

/** The answer to send when there is no memory to render another. */
constexpr std::string_view kOutOfMemory =
    "{\n\t\"error_code\": 100,\n\t\"error_message\": \"std::bad_alloc\",\n\t\"result\": \"error\" \n} \n";

// Chromium and Firefox drop a longer one, and the connection with it.
constexpr std::size_t kLargestBrowserMessage = 1048576;

/** A frame that is not UTF-8 would make a browser drop the whole channel. */
std::string rendered(const jsonxx::Object& response) {
  return replaceInvalidUtf8(response.json());
}

std::string errorText(std::uint32_t code, const std::string& message, const std::string& reason) {
  jsonxx::Object response;
  appendError(response, code, message, reason);
  return rendered(response);
}

/** An error keeps the members that were ready before; here all but the documents, which are too long. */
jsonxx::Object tooLongOf(const jsonxx::Object& response, bool wantsReasons) {
  jsonxx::Object left;
  for (const char* member : {"cert_expiry", "cert_issuer", "cert_serial"})
    if (response.has<jsonxx::String>(member)) left << member << response.get<jsonxx::String>(member);
  const AnswerTooLongException tooLong;
  LOG4CPLUS_ERROR(exchangeLog, tooLong.message());
  appendError(left, tooLong.code(), tooLong.message(), wantsReasons ? tooLong.reason() : "");
  return left;
}

/** The extension that started the host: Chromium passes its origin first, Firefox its id behind the path of
 * the manifest. "none" for a host that something else has started. */
std::string callerOf(int count, const char* const* arguments) {
  const std::string first = count > 1 ? arguments[1] : "";
  if (first.starts_with("chrome-extension://")) return first;
  return count > 2 ? arguments[2] : "none";
}

/** For records whose loss is better than a second answer, or none. */
template <typename Log>
void quietly(Log log) noexcept {
  try {
    log();
  } catch (...) {
  }
}

}  // namespace

void logArguments(int count, const char* const* arguments) {
  for (int i = 1; i < count; ++i) LOG4CPLUS_INFO(exchangeLog, "Argument " << i << " = " << arguments[i]);
  signature_record::setCaller(callerOf(count, arguments));
}

MessageExchange* MessageExchange::working_ = nullptr;

MessageExchange::MessageExchange(Write write) : write_(std::move(write)) {}

void MessageExchange::answerAndEnd() noexcept {
  const std::exception_ptr failure = std::current_exception();  // held: what() is its own
  const char* what = "no exception";
  try {
    if (failure) std::rethrow_exception(failure);
  } catch (const std::exception& thrown) {
    what = thrown.what();
  } catch (...) {
    what = "unknown";
  }
  std::fprintf(stderr, "VORN Signing: ended by a failure that nothing could handle: %s\n", what);
  // Before main there is no log to write to either.
  if (working_ != nullptr) {
    working_->answerWithoutMemory();
    quietly([] { LOG4CPLUS_INFO(exchangeLog, "Executable removed"); });
  }
  _exit(kFatalRequest);
}

std::optional<int> MessageExchange::deliver(std::string_view bytes) noexcept {
  working_ = this;
  const std::optional<int> status = answer(bytes);
  working_ = nullptr;
  return status;
}

std::optional<int> MessageExchange::answer(std::string_view bytes) {
  try {
    isAnswerDue_ = true;
    wantsReasons_ = false;
    frames_.append(bytes);
    answerCompleteMessages();
    return std::nullopt;
  } catch (const RequesterGoneException& gone) {
    quietly([&] { LOG4CPLUS_INFO(exchangeLog, "The browser has gone: " << gone.what()); });
    quietly([] { LOG4CPLUS_INFO(exchangeLog, "Executable removed"); });
    return 0;
  } catch (const InvalidArgumentException& invalid) {
    return fail(invalid.code(), invalid.what(), reason::kRequestInvalid);
  } catch (const std::exception& stray) {
    return fail(TechnicalException::kCode, stray.what(), reason::kInternal);
  } catch (...) {
    return fail(TechnicalException::kCode, "Unknown failure", reason::kInternal);
  }
}

void MessageExchange::answerCompleteMessages() {
  while (std::optional<std::string> message = frames_.next()) {
    LOG4CPLUS_DEBUG(exchangeLog, "Request message = " << *message);
    sendMessage(answerTo(std::move(*message)));
    IdleTimer::getInstance().start();
    isAnswerDue_ = true;
    wantsReasons_ = false;
  }
}

std::string MessageExchange::answerTo(std::string message) {
  RequestHandler handler(std::move(message), &parts_);
  jsonxx::Object response;
  try {
    response = handler.handleRequest();
  } catch (...) {
    wantsReasons_ = handler.wantsReasons();
    throw;
  }
  std::string text = rendered(response);
  if (text.size() > kLongestAnswer) text = rendered(response = tooLongOf(response, handler.wantsReasons()));
  const std::string result = response.get<jsonxx::String>("result");
  response = {};  // it may be as long, and all of it is in the text now
  if (const std::optional<std::size_t> limit = handler.largestAnswer())
    text = parts_.fit(std::move(text), *limit, result);
  return text;
}

int MessageExchange::fail(std::uint32_t code, const char* message, const char* reason) {
  quietly([&] { LOG4CPLUS_ERROR(exchangeLog, message); });
  int status = kFatalRequest;
  try {
    sendMessage(errorText(code, message, wantsReasons_ ? reason : ""));
  } catch (const OutputClosedException& closed) {
    quietly([&] { LOG4CPLUS_ERROR(exchangeLog, "The error could not be sent: " << closed.what()); });
    status = 0;
  } catch (...) {
    status = answerWithoutMemory();
  }
  quietly([] { LOG4CPLUS_INFO(exchangeLog, "Executable removed"); });
  return status;
}

int MessageExchange::answerWithoutMemory() noexcept {
  try {
    if (isAnswerDue_) writeFrame(kOutOfMemory);
    return kFatalRequest;
  } catch (...) {
    return 0;  // the browser has gone
  }
}

void MessageExchange::sendMessage(const std::string& text) {
  LOG4CPLUS_INFO(exchangeLog, "Sending response message");
  LOG4CPLUS_INFO(exchangeLog, "Response message length = " << text.size());
  LOG4CPLUS_DEBUG(exchangeLog, "Response message = " << text);
  if (text.size() > kLargestBrowserMessage) {
    LOG4CPLUS_WARN(exchangeLog, "Response message is larger than browsers accept (" << kLargestBrowserMessage
                                                                                    << " bytes)");
  }
  writeFrame(text);
  quietly([] { LOG4CPLUS_INFO(exchangeLog, "Response message sent"); });
}

/** Needs no memory: nothing can break a frame off, or follow one with the answer to a failure. */
void MessageExchange::writeFrame(std::string_view text) {
  isAnswerDue_ = false;
  const auto length = static_cast<std::uint32_t>(text.size());
  write_({reinterpret_cast<const char*>(&length), sizeof length});
  write_(text);
}

}  // namespace vorn
