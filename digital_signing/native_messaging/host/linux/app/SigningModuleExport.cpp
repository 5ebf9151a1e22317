#include <log4cplus/mdc.h>

#include <exception>
#include <new>

#include "linux/app/BuildId.h"
#include "linux/app/SigningModule.h"
#include "linux/prompt/SigningRequest.h"
#include "shared/Exceptions.h"
#include "shared/Signing.h"

namespace vorn {
namespace {

using Kind = SigningFailure::Kind;

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

SigningFailure selectCertificate(const jsonxx::Object& userDetails, jsonxx::Object& response) noexcept {
  return guarded([&] { signing::selectCertificate(userDetails, response); });
}

SigningFailure signDocuments(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm,
                             jsonxx::Object& response) noexcept {
  return guarded([&] {
    const prompt::SigningRequest request({callerInLog(), xmlData.size(), [] { return false; }});
    signing::signDocuments(xmlData, algorithm, response);
  });
}

}  // namespace

extern "C" __attribute__((visibility("default")))
const SigningModule vornSigningModule = {kBuildId, &selectCertificate, &signDocuments};

}  // namespace vorn
