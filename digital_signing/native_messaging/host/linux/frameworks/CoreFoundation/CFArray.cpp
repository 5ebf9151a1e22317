#include "CoreFoundation/CFArray.h"

#include <algorithm>

#include "CoreFoundation/CFInternal.h"

using namespace vorn::frameworks;

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, retainValue, releaseValue, nullptr, CFEqual};

namespace vorn::frameworks {

const void* retainValue(CFAllocatorRef /*allocator*/, const void* value) {
  return value == nullptr ? nullptr : CFRetain(value);
}

void releaseValue(CFAllocatorRef /*allocator*/, const void* value) {
  if (value != nullptr) {
    CFRelease(value);
  }
}

Array::~Array() {
  if (callBacks_.release != nullptr) {
    std::for_each(elements_.begin(), elements_.end(),
                  [this](const void* element) { callBacks_.release(kCFAllocatorDefault, element); });
  }
}

void Array::add(const void* element) {
  elements_.push_back(element);
  if (callBacks_.retain != nullptr) {
    elements_.back() = callBacks_.retain(kCFAllocatorDefault, element);
  }
}

bool Array::equals(const Object& other) const {
  const auto& others = static_cast<const Array&>(other).elements_;
  return std::equal(elements_.begin(), elements_.end(), others.begin(), others.end(),
                    [this](const void* first, const void* second) {
                      return callBacks_.equal == nullptr ? first == second
                                                         : callBacks_.equal(first, second) != 0;
                    });
}

Owned<Array> makeArray(const std::vector<Owned<>>& elements) {
  Owned<Array> array(new Array(kCFTypeArrayCallBacks, elements.size()));
  for (const auto& element : elements) {
    array->add(element.get());
  }
  return array;
}

}  // namespace vorn::frameworks

CFTypeID CFArrayGetTypeID() {
  return kTypeArray;
}

CFArrayRef CFArrayCreate(CFAllocatorRef /*allocator*/, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) {
  if (count < 0 || (values == nullptr && count > 0)) {
    return nullptr;
  }
  return guarded([&] {
    Owned<Array> array(
        new Array(callBacks == nullptr ? CFArrayCallBacks{} : *callBacks, static_cast<std::size_t>(count)));
    std::for_each(values, values + count, [&](const void* value) { array->add(value); });
    return handOver<CFArrayRef>(std::move(array));
  });
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  const auto* object = objectCast<Array>(array);
  return object == nullptr ? 0 : static_cast<CFIndex>(object->elements().size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  if (index < 0 || index >= CFArrayGetCount(array)) {
    return nullptr;
  }
  return objectCast<Array>(array)->elements()[static_cast<std::size_t>(index)];
}
