#include "CoreFoundation/CFError.h"

#include "CoreFoundation/CFInternal.h"

using namespace vorn::frameworks;

CFIndex CFErrorGetCode(CFErrorRef error) {
  const auto* object = objectCast<Error>(error);
  return object == nullptr ? 0 : object->code();
}

CFStringRef CFErrorCopyDescription(CFErrorRef error) {
  const auto* object = objectCast<Error>(error);
  if (object == nullptr) return nullptr;
  return guarded([&] { return handOver<CFStringRef>(makeString(object->description())); });
}

CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef error) {
  const auto* object = objectCast<Error>(error);
  if (object == nullptr || object->reason().empty()) return nullptr;
  return guarded([&] {
    std::vector<Entry> entries;
    entries.push_back({makeString("VORNErrorReason"), makeString(object->reason())});
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
