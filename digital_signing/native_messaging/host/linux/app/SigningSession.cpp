#include "linux/app/SigningSession.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/mdc.h>

#include <set>
#include <string>

#include "linux/frameworks/Security/KeyProcess.h"
#include "linux/prompt/PromptLog.h"
#include "mac/app/CertificateSelection.h"
#include "shared/Exceptions.h"
#include "shared/Requester.h"

namespace vorn::signing_session {
namespace {

using frameworks::KeyProcess;

/** For a search that has to be made once more. */
jsonxx::Object lastUser;

void logPrompt(prompt::Weight weight, std::string_view text) {
  static const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("PinPrompt"));
  if (weight == prompt::Weight::kWarning)
    LOG4CPLUS_WARN(logger, text);
  else
    LOG4CPLUS_INFO(logger, text);
}

void logStoreFaults() {
  static const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("KeyStore"));
  static auto* const logged = new std::set<std::string>;
  for (const keys::StoreFault& fault : KeyProcess::instance().faults()) {
    const std::string line = fault.place.string() + " is left out: " + fault.reason;
    if (logged->insert(line).second) LOG4CPLUS_WARN(logger, line);
  }
}

/** Whoever closes the input waits for no person any more. */
bool isBrowserGone(bool isPersonAsked) {
  return (isPersonAsked && requester::hasEndedInput()) || requester::isGone();
}

/** Where signature_record::setCaller has left it. */
std::string callerInLog() {
  std::string caller;
  log4cplus::getMDC().get(&caller, "caller");
  return caller;
}

/** What a person has to be told of modules comes before what the search or the signer knows to say. */
template <typename Call>
void withAdvice(Call call) {
  try {
    call();
  } catch (const BaseException& failure) {
    const KeyProcess& process = KeyProcess::instance();
    if (process.isAbandoned()) throw RequesterGoneException();
    const std::string advice = process.adviceOnModules();
    const bool isOfKeys = failure.code() == TechnicalException::kCode ||
                          failure.code() == CertificateNotFoundException::kCode ||
                          failure.code() == CryptoException::kCode;
    if (isOfKeys && !advice.empty()) throw TechnicalException(advice, reason::kModuleHangs);
    throw;
  }
}

struct Request {
  explicit Request(std::size_t documents) { KeyProcess::instance().beginRequest(callerInLog(), documents); }
  ~Request() { KeyProcess::instance().endRequest(); }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
};

}  // namespace

bool isOver() {
  return KeyProcess::instance().isLost();
}

void begin(const keys::KeyProgram& keys) {
  prompt::setLog(&logPrompt);
  KeyProcess::instance().adopt(keys);
  KeyProcess::instance().abandonWhen(&isBrowserGone);
}

void selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  KeyProcess::instance().tryAllModules();
  lastUser = userDetails;
  withAdvice([&] {
    try {
      signing::selectCertificate(userDetails, response);
    } catch (...) {
      logStoreFaults();
      throw;
    }
  });
  logStoreFaults();
}

void signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response) {
  const Request request(xmlData.size());
  withAdvice([&] {
    const bool hadModules = KeyProcess::instance().adviceOnModules().empty();
    try {
      return signing::signDocuments(xmlData, algorithm, response);
    } catch (const CryptoException&) {
      if (!hadModules || KeyProcess::instance().adviceOnModules().empty()) throw;
    }
    CertificateSelection::getInstance().reset();
    try {
      signing::selectCertificate(lastUser, response);
    } catch (...) {
      logStoreFaults();
      throw;
    }
    logStoreFaults();
    signing::signDocuments(xmlData, algorithm, response);
  });
}

}  // namespace vorn::signing_session
