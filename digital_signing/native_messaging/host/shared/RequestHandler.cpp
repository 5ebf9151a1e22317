#include "shared/RequestHandler.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <sys/utsname.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <utility>

#include "shared/base/Exceptions.h"
#include "shared/base/IdleTimer.h"
#include "shared/base/Logging.h"
#include "shared/base/Platform.h"
#include "shared/base/Signing.h"
#include "shared/base/Version.h"
#include "shared/text/LetterCase.h"
#include "shared/text/Utf8.h"

namespace vorn {
namespace {

const log4cplus::Logger requestLog = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("RequestHandler"));

const char* const kPart = "part";

/** 3600000 as it stands here; a stream would cut it to six digits. */
std::string inAllDigits(long double number) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*Lg", std::numeric_limits<long double>::digits10, number);
  return text;
}

template <class Kind>
void require(const jsonxx::Object& object, const char* member, const char* message) {
  if (!object.has<Kind>(member)) throw InvalidArgumentException(message);
}

/** The four members that name a user. Throws with the text for the first that is missing. */
void validateUserDetails(const jsonxx::Object& userDetails) {
  require<jsonxx::String>(userDetails, "name", "Name is missing from the signing request message");
  require<jsonxx::String>(userDetails, "email", "Email is missing from the signing request message");
  require<jsonxx::String>(userDetails, "abn", "ABN is missing from the signing request message");
  const char* const noAKIs = "AKI list is missing from the signing request message";
  require<jsonxx::Array>(userDetails, "aki", noAKIs);
  for (const auto& aki : userDetails.get<jsonxx::Array>("aki").elements())
    if (!aki->is<jsonxx::String>()) throw InvalidArgumentException(noAKIs);
}

/** The whole of a sign request, before the key store is touched. Throws as above. */
void validateSignRequest(const jsonxx::Object& request) {
  require<jsonxx::Object>(request, "user_details",
                          "User details are missing from the signing request message");
  validateUserDetails(request.get<jsonxx::Object>("user_details"));
  require<jsonxx::Array>(request, "xml_data", "XML data array is missing from the signing request message");
  const auto& documents = request.get<jsonxx::Array>("xml_data");
  if (documents.empty())
    throw InvalidArgumentException("XML data array from the signing request message is empty");
  for (const auto& document : documents.elements()) {
    if (!document->is<jsonxx::Object>())
      throw InvalidArgumentException("XML data object is missing from the signing request message");
    require<jsonxx::String>(document->get<jsonxx::Object>(), "data",
                            "XML data field is missing from the signing request message");
  }
}

/** RSA with SHA-256 unless the request names another. */
SignatureAlgorithm requestedAlgorithm(const jsonxx::Object& request) {
  if (!request.has<jsonxx::String>("signature_algorithm")) return SignatureAlgorithm::RSA_SHA256;
  const auto& name = request.get<jsonxx::String>("signature_algorithm");
  if (const auto algorithm = algorithmNamed(name)) return *algorithm;
  throw InvalidSignatureAlgorithmException("Unrecognised signature algorithm: " + name);
}

/** How many bytes the caller takes at once, if it says. Throws for fewer than serve. */
std::optional<std::size_t> requestedLargestAnswer(const jsonxx::Object& request) {
  if (!request.has<jsonxx::Number>("max_answer")) return std::nullopt;
  const jsonxx::Number bytes = request.get<jsonxx::Number>("max_answer");
  // Written so that what is not a number at all is refused too.
  if (!(bytes >= AnswerParts::kLeastLimit)) {
    throw InvalidArgumentException("Invalid max_answer, less than " +
                                   std::to_string(AnswerParts::kLeastLimit));
  }
  // No frame is longer than this, and not every number fits into a size.
  return bytes < UINT32_MAX ? static_cast<std::size_t>(bytes) : UINT32_MAX;
}

// The prefix is part of the protocol on every system: pages match on it.
std::string operatingSystem() {
  const platform::SystemVersion version = platform::systemVersion();
  return "Mac OS X version " + std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
         std::to_string(version.bugFix);
}

std::string processorType() {
  utsname names{};
  return uname(&names) == 0 ? names.machine : "";
}

std::string installLocation() {
  const std::string path = platform::installedPath();
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) throw TechnicalException("Failed to get install location");
  return path.substr(0, slash);
}

/** Appends the version of the host and of the system, the processor type and the folder of the installation.
 * Throws TechnicalException when that folder cannot be told; the members before it stay. */
void appendVersion(jsonxx::Object& response) {
  response << "major" << version::kMajor;
  response << "minor" << version::kMinor;
  response << "release" << version::kRelease;
  response << "build" << version::kBuild;
  response << "version" << version::kFull;
  response << "os" << operatingSystem();
  response << "os_type" << processorType();
  const std::string location = installLocation();  // before its key is pending: it may throw
  response << "install_location" << location;
}

}  // namespace

void appendError(jsonxx::Object& response, std::uint32_t code, const std::string& message,
                 const std::string& reason) {
  response << "result"
           << "error";
  response << "error_code" << code;
  response << "error_message" << message;
  if (!reason.empty()) response << "error_reason" << reason;
}

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
    LOG4CPLUS_ERROR(requestLog, "Request failed with code " << failure.code() << ": " << failure.message());
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
  LOG4CPLUS_DEBUG(requestLog, "Request message = " << message_);
  std::string().swap(message_);  // it may be 10 MiB, and all of it is in the request now
  if (request_.has<jsonxx::Number>("idle_timeout")) {
    const jsonxx::Number timeout = request_.get<jsonxx::Number>("idle_timeout");
    LOG4CPLUS_INFO(requestLog, "Setting idle timeout = " << inAllDigits(timeout));
    IdleTimer::getInstance().setTimeout(timeout);
  }
  largestAnswer_ = requestedLargestAnswer(request_);
}

void RequestHandler::dispatch() {
  LOG4CPLUS_INFO(requestLog, "Request type = " << type_);
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
