#include "CoreFoundation/CFArray.h"

#include "CoreFoundation/CFInternal.h"

using namespace vorn::frameworks;

/** Only its address counts. */
struct OpaqueCFArrayCallBacks {};
const CFArrayCallBacks kCFTypeArrayCallBacks = {};

CFTypeID CFArrayGetTypeID() {
  return kTypeArray;
}

CFArrayRef CFArrayCreate(CFAllocatorRef /*allocator*/, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) {
  if (count < 0 || callBacks != &kCFTypeArrayCallBacks) return nullptr;
  return guarded([&] {
    std::vector<Owned<>> elements;
    for (CFIndex i = 0; i < count; ++i) elements.push_back(retained(values[i]));
    return handOver<CFArrayRef>(makeArray(std::move(elements)));
  });
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  const auto* object = objectCast<Array>(array);
  return object == nullptr ? 0 : static_cast<CFIndex>(object->elements().size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  if (index < 0 || index >= CFArrayGetCount(array)) return nullptr;
  return objectCast<Array>(array)->elements()[static_cast<std::size_t>(index)].get();
}
