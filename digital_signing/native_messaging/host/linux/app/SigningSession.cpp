#include "linux/app/SigningSession.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/mdc.h>

#include <set>
#include <string>

#include "linux/frameworks/Security/KeyProcess.h"
#include "mac/app/CertificateSelection.h"
#include "shared/base/Exceptions.h"
#include "shared/base/Requester.h"

namespace vorn::signing_session {
namespace {

using frameworks::KeyProcess;

/** The user of the last search, which is repeated when a module fails while it signs. */
jsonxx::Object lastUser;

/** A record that cannot be written is no reason to leave an answer unread. */
void logPrompt(bool isWarning, std::string_view text) noexcept try {
  static const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("PinPrompt"));
  if (isWarning)
    LOG4CPLUS_WARN(logger, text);
  else
    LOG4CPLUS_INFO(logger, text);
} catch (...) {
}

/** The lines that this search has logged, so that none is logged twice. */
std::set<std::string> logged;

void logStoreFaults() {
  static const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("KeyStore"));
  for (const keys::StoreFault& fault : KeyProcess::instance().faults()) {
    const std::string line = fault.place.string() + " is left out: " + fault.reason;
    if (logged.insert(line).second) LOG4CPLUS_WARN(logger, line);
  }
}

/** A browser that has closed its input does not wait until a person has answered. */
bool isBrowserGone(bool isPersonAsked) {
  return (isPersonAsked && requester::hasEndedInput()) || requester::isGone();
}

/** The extension's name, which signature_record::setCaller keeps in the log's context. */
std::string callerInLog() {
  std::string caller;
  log4cplus::getMDC().get(&caller, "caller");
  return caller;
}

template <typename Call>
void unlessAbandoned(Call call) {
  try {
    call();
  } catch (const BaseException&) {
    if (KeyProcess::instance().isAbandoned()) throw RequesterGoneException();
    throw;
  }
}

/** Throws the advice on a module that was left out before any other failure of the search: an identity may be
 * on its card. The next request searches anew. */
void select(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  try {
    signing::selectCertificate(userDetails, response);
    logStoreFaults();
  } catch (const BaseException&) {
    logStoreFaults();
    const std::string advice = KeyProcess::instance().adviceOnModules();
    if (advice.empty() || KeyProcess::instance().isAbandoned()) throw;
    CertificateSelection::getInstance().reset();
    throw TechnicalException(advice, reason::kModuleHangs);
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
  KeyProcess::instance().adopt(keys);
  KeyProcess::instance().logBy(&logPrompt);
  KeyProcess::instance().abandonWhen(&isBrowserGone);
}

void findSigner(const jsonxx::Object& userDetails, jsonxx::Object& response) {
  KeyProcess::instance().tryAllModules();
  logged.clear();
  lastUser = userDetails;
  unlessAbandoned([&] { select(userDetails, response); });
}

void signOrFindAnother(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm, jsonxx::Object& response) {
  const Request request(xmlData.size());
  unlessAbandoned([&] {
    while (true) {
      const std::size_t leftOut = KeyProcess::instance().leftOutCount();
      try {
        return signing::signDocuments(xmlData, algorithm, response);
      } catch (const CryptoException&) {
        if (KeyProcess::instance().leftOutCount() == leftOut) throw;
      }
      // The module of that key has failed: whoever else fits signs.
      CertificateSelection::getInstance().reset();
      select(lastUser, response);
    }
  });
}

}  // namespace vorn::signing_session
