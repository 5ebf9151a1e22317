#include <chrono>
#include <cstdlib>

#include "CoreFoundation/CFObjects.h"

using namespace vorn::frameworks;

namespace {

const Object& objectAt(CFTypeRef ref) {
  if (ref == nullptr) std::abort();
  return *static_cast<const Object*>(ref);
}

}  // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;

CFTypeRef CFRetain(CFTypeRef object) {
  objectAt(object).retain();
  return object;
}

void CFRelease(CFTypeRef object) {
  objectAt(object).release();
}

CFTypeID CFGetTypeID(CFTypeRef object) {
  return object == nullptr ? 0 : objectAt(object).typeID();
}

Boolean CFEqual(CFTypeRef first, CFTypeRef second) {
  const auto* text = objectCast<String>(first);
  const auto* other = objectCast<String>(second);
  return text != nullptr && other != nullptr ? text->utf8() == other->utf8() : first == second;
}

CFIndex CFErrorGetCode(CFErrorRef error) {
  const auto* object = objectCast<Error>(error);
  return object == nullptr ? 0 : object->code;
}

CFStringRef CFErrorCopyDescription(CFErrorRef error) {
  const auto* object = objectCast<Error>(error);
  if (object == nullptr) return nullptr;
  return guarded([&] { return handOver<CFStringRef>(makeString(object->description)); });
}

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef error) {
  const auto* object = objectCast<Error>(error);
  if (object == nullptr || object->reason.empty()) return nullptr;
  return guarded([&] {
    std::vector<Entry> entries;
    entries.push_back({makeString("VORNErrorReason"), makeString(object->reason)});
    return handOver<CFDictionaryRef>(makeDictionary(std::move(entries)));
  });
}

namespace vorn::frameworks {

Owned<Error> makeError(std::string_view domain, CFIndex code, std::string_view description,
                       std::string reason) {
  std::string text = "The operation couldn\u2019t be completed. (";
  text.append(domain).append(" error ").append(std::to_string(code));
  return Owned<Error>(new Error(code, text.append(" - ").append(description).append(")"), std::move(reason)));
}

}  // namespace vorn::frameworks

const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<CFTimeInterval>(now).count() - kCFAbsoluteTimeIntervalSince1970;
}
