#include "Security/SecBase.h"

#include "linux/frameworks/CoreFoundation/CFInternal.h"
#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {
namespace {

struct Failure {
  OSStatus status = errSecSuccess;
  std::string text;
};
thread_local Failure lastFailure;

}  // namespace

OSStatus failWith(OSStatus status, std::string text) {
  lastFailure = {status, std::move(text)};
  return status;
}

}  // namespace vorn::frameworks

using namespace vorn::frameworks;

CFStringRef SecCopyErrorMessageString(OSStatus status, void* /*reserved*/) {
  return guarded([&]() -> CFStringRef {
    return status != lastFailure.status ? nullptr : handOver<CFStringRef>(makeString(lastFailure.text));
  });
}
