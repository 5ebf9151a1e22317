#include <exception>
#include <new>

#include "linux/app/SigningModule.h"
#include "linux/app/SigningSession.h"
#include "linux/processes/BuildId.h"
#include "shared/base/Exceptions.h"
#include "shared/base/Requester.h"
#include "shared/base/Signing.h"

namespace vorn {
namespace {

using Kind = SigningFailure::Kind;

template <typename Call>
SigningFailure failureOf(Call call) {
  try {
    call();
    return {};
  } catch (const BaseException& failure) {
    return {Kind::kHost, failure.code(), failure.message(), failure.reason()};
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
    SigningFailure failure = failureOf(call);
    failure.isLast = signing_session::isOver();
    return failure;
  } catch (...) {
    return {Kind::kOutOfMemory};  // not even its message could be kept
  }
}

void begin(const requester::Ends& ends, const keys::KeyProgram& keys) noexcept {
  requester::watch(ends);
  signing_session::begin(keys);
}

SigningFailure select(const jsonxx::Object& userDetails, jsonxx::Object& response) noexcept {
  return guarded([&] { signing_session::findSigner(userDetails, response); });
}

SigningFailure sign(const jsonxx::Array& xmlData, SignatureAlgorithm algorithm,
                    jsonxx::Object& response) noexcept {
  return guarded([&] { signing_session::signOrFindAnother(xmlData, algorithm, response); });
}

}  // namespace

extern "C" __attribute__((visibility("default")))
const SigningModule vornSigningModule = {kBuildId, &begin, &select, &sign};

}  // namespace vorn
