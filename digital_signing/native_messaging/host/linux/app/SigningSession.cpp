#include "linux/app/SigningSession.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/mdc.h>

#include <set>
#include <string>

#include "linux/frameworks/Security/KeyStoreReport.h"
#include "linux/prompt/PromptLog.h"
#include "linux/prompt/SigningRequest.h"
#include "shared/Exceptions.h"
#include "shared/Requester.h"

namespace vorn::signing_session {
namespace {

void logPrompt(prompt::Weight weight, std::string_view text) {
  static const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("PinPrompt"));
  if (weight == prompt::Weight::kWarning)
    LOG4CPLUS_WARN(logger, text);
  else
    LOG4CPLUS_INFO(logger, text);
}

/** For prompts: whoever closes the input waits for no person any more. */
bool isBrowserGone() {
  return requester::hasEndedInput() || requester::isGone();
}

/** Where signature_record::setCaller has left it. */
std::string callerInLog() {
  std::string caller;
  log4cplus::getMDC().get(&caller, "caller");
  return caller;
}

}  // namespace

void begin() {
  prompt::setLog(&logPrompt);
}

void logStoreFaults() {
  static const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("KeyStore"));
  static auto* const logged = new std::set<std::string>;
  for (const frameworks::StoreFault& fault : frameworks::storeFaults()) {
    const std::string line = fault.place.string() + " is left out: " + fault.reason;
    if (logged->insert(line).second) LOG4CPLUS_WARN(logger, line);
  }
}

void signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response) {
  const prompt::SigningRequest request({callerInLog(), xmlData.size(), &isBrowserGone});
  try {
    signing::signDocuments(xmlData, algorithm, response);
  } catch (const BaseException&) {
    if (request.isAbandoned()) throw RequesterGoneException();
    throw;
  }
}

}  // namespace vorn::signing_session
