#include "CoreFoundation/CFBase.h"

#include <cstdlib>

#include "CoreFoundation/CFInternal.h"

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
