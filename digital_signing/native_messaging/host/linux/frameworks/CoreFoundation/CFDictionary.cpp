#include "CoreFoundation/CFDictionary.h"

#include "CoreFoundation/CFInternal.h"

using namespace vorn::frameworks;

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
