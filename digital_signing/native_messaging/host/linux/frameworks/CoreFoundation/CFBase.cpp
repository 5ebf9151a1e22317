#include "CoreFoundation/CFBase.h"

#include <cstdlib>

#include "CoreFoundation/CFObject.h"

using vorn::frameworks::Object;

namespace {

const Object* objectAt(CFTypeRef ref) {
  return static_cast<const Object*>(ref);
}

}  // namespace

const CFAllocatorRef kCFAllocatorDefault = nullptr;

CFTypeRef CFRetain(CFTypeRef object) {
  if (object == nullptr) {
    std::abort();
  }
  objectAt(object)->retain();
  return object;
}

void CFRelease(CFTypeRef object) {
  if (object == nullptr) {
    std::abort();
  }
  objectAt(object)->release();
}

CFTypeID CFGetTypeID(CFTypeRef object) {
  return object == nullptr ? 0 : objectAt(object)->typeID();
}

Boolean CFEqual(CFTypeRef first, CFTypeRef second) {
  if (first == second) {
    return true;
  }
  if (first == nullptr || second == nullptr || CFGetTypeID(first) != CFGetTypeID(second)) {
    return false;
  }
  return objectAt(first)->equals(*objectAt(second));
}
