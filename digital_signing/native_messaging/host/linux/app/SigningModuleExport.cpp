#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/mdc.h>

#include <exception>
#include <new>
#include <set>

#include "linux/app/BuildId.h"
#include "linux/app/SigningModule.h"
#include "linux/frameworks/Security/KeyStoreReport.h"
#include "linux/prompt/PromptLog.h"
#include "linux/prompt/SigningRequest.h"
#include "shared/Exceptions.h"
#include "shared/Requester.h"
#include "shared/Signing.h"

namespace vorn {
namespace {

using Kind = SigningFailure::Kind;

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

template <typename Call>
SigningFailure failureOf(Call call) {
  try {
    call();
    return {};
  } catch (const BaseException& failure) {
    return {Kind::kHost, failure.code(), failure.message()};
  } catch (const RequesterGoneException&) {
    return {Kind::kRequesterGone};
  } catch (const std::bad_alloc&) {
    return {Kind::kOutOfMemory};
  } catch (const std::exception& stray) {
    return {Kind::kStandard, 0, stray.what()};
  } catch (...) {
    return {Kind::kUnknown};
  }
}

template <typename Call>
SigningFailure guarded(Call call) noexcept {
  try {
    return failureOf(call);
  } catch (...) {
    return {Kind::kOutOfMemory};  // not even its message could be kept
  }
}

void watchRequester(const requester::Ends& ends) noexcept {
  requester::watch(ends);
  prompt::setLog(&logPrompt);
}

/** Once for each, as the same search is made again and again. */
void logStoreFaults() {
  static const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("KeyStore"));
  static auto* const logged = new std::set<std::string>;
  for (const frameworks::StoreFault& fault : frameworks::storeFaults()) {
    const std::string line = fault.place.string() + " is left out: " + fault.reason;
    if (logged->insert(line).second) LOG4CPLUS_WARN(logger, line);
  }
}

SigningFailure selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) noexcept {
  SigningFailure failure = guarded([&] { signing::selectCertificate(userDetails, response); });
  const SigningFailure logging = guarded(&logStoreFaults);
  return failure.kind == Kind::kNone ? logging : failure;
}

SigningFailure signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm,
                             jsonxx::Object& response) noexcept {
  return guarded([&] {
    const prompt::SigningRequest request({callerInLog(), xmlData.size(), &isBrowserGone});
    try {
      signing::signDocuments(xmlData, algorithm, response);
    } catch (const BaseException&) {
      if (request.isAbandoned()) throw RequesterGoneException();
      throw;
    }
  });
}

}  // namespace

extern "C" __attribute__((visibility("default")))
const SigningModule vornSigningModule = {kBuildId, &watchRequester, &selectCertificate, &signDocuments};

}  // namespace vorn
