#include "CoreFoundation/CFDictionary.h"

#include <algorithm>

#include "CoreFoundation/CFInternal.h"

using namespace vorn::frameworks;

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0,       retainValue, releaseValue,
                                                                nullptr, CFEqual,     nullptr};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {0, retainValue, releaseValue, nullptr,
                                                                    CFEqual};

namespace vorn::frameworks {

Dictionary::~Dictionary() {
  for (const auto& [key, value] : pairs_) {
    if (keyCallBacks_.release != nullptr) {
      keyCallBacks_.release(kCFAllocatorDefault, key);
    }
    if (valueCallBacks_.release != nullptr) {
      valueCallBacks_.release(kCFAllocatorDefault, value);
    }
  }
}

void Dictionary::add(const void* key, const void* value) {
  if (find(key) != nullptr) {
    return;
  }
  auto& pair = pairs_.emplace_back(key, value);
  if (keyCallBacks_.retain != nullptr) {
    pair.first = keyCallBacks_.retain(kCFAllocatorDefault, key);
  }
  if (valueCallBacks_.retain != nullptr) {
    pair.second = valueCallBacks_.retain(kCFAllocatorDefault, value);
  }
}

const Dictionary::Pair* Dictionary::find(const void* key) const {
  const auto found = std::find_if(pairs_.begin(), pairs_.end(), [&](const Pair& pair) {
    return pair.first == key || (keyCallBacks_.equal != nullptr && keyCallBacks_.equal(pair.first, key) != 0);
  });
  return found == pairs_.end() ? nullptr : &*found;
}

bool Dictionary::equals(const Object& other) const {
  const auto& dictionary = static_cast<const Dictionary&>(other);
  return pairs_.size() == dictionary.pairs_.size() &&
         std::all_of(pairs_.begin(), pairs_.end(), [&](const Pair& pair) {
           const Pair* match = dictionary.find(pair.first);
           return match != nullptr &&
                  (match->second == pair.second || (valueCallBacks_.equal != nullptr &&
                                                    valueCallBacks_.equal(pair.second, match->second) != 0));
         });
}

Owned<Dictionary> makeDictionary(const std::vector<Entry>& entries) {
  Owned<Dictionary> dictionary(
      new Dictionary(kCFTypeDictionaryKeyCallBacks, kCFTypeDictionaryValueCallBacks, entries.size()));
  for (const auto& entry : entries) {
    dictionary->add(entry.key, entry.value.get());
  }
  return dictionary;
}

}  // namespace vorn::frameworks

CFTypeID CFDictionaryGetTypeID() {
  return kTypeDictionary;
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef /*allocator*/, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
  if (count < 0 || (count > 0 && (keys == nullptr || values == nullptr))) {
    return nullptr;
  }
  return guarded([&] {
    Owned<Dictionary> dictionary(
        new Dictionary(keyCallBacks == nullptr ? CFDictionaryKeyCallBacks{} : *keyCallBacks,
                       valueCallBacks == nullptr ? CFDictionaryValueCallBacks{} : *valueCallBacks,
                       static_cast<std::size_t>(count)));
    for (CFIndex i = 0; i < count; ++i) {
      dictionary->add(keys[i], values[i]);
    }
    return handOver<CFDictionaryRef>(std::move(dictionary));
  });
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
  const auto* object = objectCast<Dictionary>(dictionary);
  return object == nullptr ? 0 : static_cast<CFIndex>(object->pairs().size());
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const void* value = nullptr;
  CFDictionaryGetValueIfPresent(dictionary, key, &value);
  return value;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key, const void** value) {
  const auto* object = objectCast<Dictionary>(dictionary);
  const auto* pair = object == nullptr ? nullptr : object->find(key);
  if (pair != nullptr && value != nullptr) {
    *value = pair->second;
  }
  return pair != nullptr;
}
