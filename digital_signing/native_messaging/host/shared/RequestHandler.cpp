#include "shared/RequestHandler.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <cstdio>
#include <limits>
#include <utility>

#include "shared/base/Exceptions.h"
#include "shared/base/IdleTimer.h"
#include "shared/base/Logging.h"
#include "shared/base/Signing.h"
#include "shared/request/RequestValidation.h"
#include "shared/request/Responses.h"
#include "shared/text/LetterCase.h"
#include "shared/text/Utf8.h"

namespace vorn {
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("RequestHandler"));

const char* const kPart = "part";

/** 3600000 as it stands here; a stream would cut it to six digits. */
std::string inAllDigits(long double number) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*Lg", std::numeric_limits<long double>::digits10, number);
  return text;
}

}  // namespace

RequestHandler::RequestHandler(std::string message, AnswerParts* parts)
    : message_(std::move(message)), parts_(parts) {}

jsonxx::Object RequestHandler::handleRequest() {
  try {
    parse();
    applySettings();
    dispatch();
  } catch (const InvalidArgumentException&) {
    throw;
  } catch (const BaseException& failure) {
    LOG4CPLUS_ERROR(logger, "Request failed with code " << failure.code() << ": " << failure.message());
    appendError(response_, failure.code(), failure.message(), wantsReasons_ ? failure.reason() : "");
  }
  logging::tellOfLoss();
  if (!response_.has<jsonxx::String>("result")) {
    response_ << "result"
              << "ok";
  }
  return std::move(response_);
}

void RequestHandler::parse() {
  if (!isValidUtf8(message_) || !request_.parse(message_))
    throw InvalidArgumentException("Failed to parse request message");
  wantsReasons_ = request_.has<jsonxx::Boolean>("reasons") && request_.get<jsonxx::Boolean>("reasons");
  if (!request_.has<jsonxx::String>("type"))
    throw InvalidArgumentException("Request type is missing from the request message");
}

void RequestHandler::applySettings() {
  type_ = asciiLowerCase(request_.get<jsonxx::String>("type"));
  if (type_ == kPart)
    logging::carryOn();  // or an answer that is fetched would take away what the log tells of it
  else
    logging::setVerbose(request_.has<jsonxx::String>("verbose") ? request_.get<jsonxx::String>("verbose")
                                                                : "");
  LOG4CPLUS_DEBUG(logger, "Request message = " << message_);
  std::string().swap(message_);  // it may be 10 MiB, and all of it is in the request now
  if (request_.has<jsonxx::Number>("idle_timeout")) {
    const jsonxx::Number timeout = request_.get<jsonxx::Number>("idle_timeout");
    LOG4CPLUS_INFO(logger, "Setting idle timeout = " << inAllDigits(timeout));
    IdleTimer::getInstance().setTimeout(timeout);
  }
  largestAnswer_ = requestedLargestAnswer(request_);
}

void RequestHandler::dispatch() {
  LOG4CPLUS_INFO(logger, "Request type = " << type_);
  if (type_ == kPart) return handlePartRequest();
  if (parts_ != nullptr) parts_->drop();
  if (type_ == "version")
    handleVersionRequest();
  else if (type_ == "sign")
    handleSignRequest();
  else
    throw InvalidArgumentException("Unknown request type");
}

void RequestHandler::handlePartRequest() {
  if (!request_.has<jsonxx::Number>("part"))
    throw InvalidArgumentException("Part is missing from the request message");
  const AnswerParts none;
  (parts_ != nullptr ? *parts_ : none).appendPart(request_.get<jsonxx::Number>("part"), response_);
}

void RequestHandler::handleVersionRequest() {
  appendVersion(response_);
  if (request_.has<jsonxx::Object>("user_details")) {
    const auto& userDetails = request_.get<jsonxx::Object>("user_details");
    validateUserDetails(userDetails);
    signing::selectCertificate(userDetails, response_);
  }
}

void RequestHandler::handleSignRequest() {
  validateSignRequest(request_);
  const auto algorithm = requestedAlgorithm(request_);
  signing::selectCertificate(request_.get<jsonxx::Object>("user_details"), response_);
  signing::signDocuments(request_.get<jsonxx::Array>("xml_data"), algorithm, response_);
}

}  // namespace vorn
