#include <algorithm>
#include <cstdint>

#include "CoreFoundation/CFObjects.h"

using namespace vorn::frameworks;

namespace vorn::frameworks {

Owned<Data> makeData(std::span<const std::uint8_t> bytes) {
  return Owned<Data>(new Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end())));
}

std::span<const std::uint8_t> bytesOf(CFDataRef data) {
  const auto* object = objectCast<Data>(data);
  return object == nullptr ? std::span<const std::uint8_t>() : std::span(object->value);
}

}  // namespace vorn::frameworks

CFTypeID CFDataGetTypeID() {
  return kTypeData;
}

CFDataRef CFDataCreate(CFAllocatorRef /*allocator*/, const UInt8* bytes, CFIndex length) {
  if (length < 0 || (bytes == nullptr && length > 0)) return nullptr;
  return guarded([&] { return handOver<CFDataRef>(makeData({bytes, static_cast<std::size_t>(length)})); });
}

CFIndex CFDataGetLength(CFDataRef data) {
  return static_cast<CFIndex>(bytesOf(data).size());
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
  return bytesOf(data).data();
}

void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer) {
  const CFIndex available = CFDataGetLength(data);
  if (range.location < 0 || range.length < 0 || range.location > available ||
      range.length > available - range.location)
    return;
  std::copy_n(CFDataGetBytePtr(data) + range.location, range.length, buffer);
}

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
  return object == nullptr ? 0 : static_cast<CFIndex>(object->value.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  if (index < 0 || index >= CFArrayGetCount(array)) return nullptr;
  return objectCast<Array>(array)->value[static_cast<std::size_t>(index)].get();
}

namespace vorn::frameworks {

Dictionary::Dictionary(std::vector<Entry> entries) : Object(kType), entries_(std::move(entries)) {
  for (const Entry& entry : entries_) borrow(entry.key.get(), entry.value.get());
}

void Dictionary::borrow(const void* key, const void* value) {
  const auto isKey = [key](const Pair& pair) { return pair.first == key; };
  if (std::none_of(pairs_.begin(), pairs_.end(), isKey)) pairs_.emplace_back(key, value);
}

const void* Dictionary::find(const void* key) const {
  const bool ofObjects = !entries_.empty();
  const auto found = std::find_if(pairs_.begin(), pairs_.end(), [&](const Pair& pair) {
    return pair.first == key || (ofObjects && CFEqual(pair.first, key) != 0);
  });
  return found == pairs_.end() ? nullptr : found->second;
}

}  // namespace vorn::frameworks

CFTypeID CFDictionaryGetTypeID() {
  return kTypeDictionary;
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef /*allocator*/, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
  if (count < 0 || keyCallBacks != nullptr || valueCallBacks != nullptr) return nullptr;
  return guarded([&] {
    Owned<Dictionary> dictionary(new Dictionary);
    for (CFIndex i = 0; i < count; ++i) dictionary->borrow(keys[i], values[i]);
    return handOver<CFDictionaryRef>(std::move(dictionary));
  });
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const auto* object = objectCast<Dictionary>(dictionary);
  return object == nullptr ? nullptr : object->find(key);
}
