#include "Security/SecTransform.h"

#include <cstdio>

#include "linux/frameworks/Security/Transform.h"

namespace vorn::frameworks {

Owned<Error> transformError(CFIndex code, std::string_view description) {
  return makeError("com.apple.security.transforms.error", code, description);
}

Owned<Error> internalError(OSStatus code, std::string_view where) {
  char hexadecimal[9];
  std::snprintf(hexadecimal, sizeof hexadecimal, "%x", static_cast<UInt32>(code));
  const std::string description = std::string("Internal error #").append(hexadecimal).append(" at ");
  return makeError("Internal CSSM error", code, description + std::string(where));
}

void Transform::set(CFStringRef key, CFTypeRef value) {
  for (Entry& entry : attributes_) {
    if (CFEqual(entry.key.get(), key) != 0) {
      entry.value = retained(value);
      return;
    }
  }
  attributes_.push_back({retained(key), retained(value)});
}

CFTypeRef Transform::attribute(CFStringRef key) const {
  for (const Entry& entry : attributes_)
    if (CFEqual(entry.key.get(), key) != 0) return entry.value.get();
  return nullptr;
}

Outcome Transform::execute() {
  std::string missing;
  for (CFStringRef key : required_)
    if (attribute(key) == nullptr) missing.append(missing.empty() ? "" : ", ").append(utf8Of(key));
  if (missing.empty()) return run();
  return transformError(
      kSecTransformErrorMissingParameter,
      std::string("Can not execute ").append(typeName_) + ", missing required attributes: " + missing);
}

}  // namespace vorn::frameworks

using namespace vorn::frameworks;

Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef* error) {
  if (error != nullptr) *error = nullptr;
  return guarded([&]() -> Boolean {
    auto* object = objectCast<Transform>(transform);
    if (object != nullptr) object->set(key, value);
    return object != nullptr;
  });
}

CFTypeRef SecTransformExecute(SecTransformRef transform, CFErrorRef* error) {
  return guarded([&]() -> CFTypeRef {
    auto* object = objectCast<Transform>(transform);
    Outcome outcome = object != nullptr ? object->execute()
                                        : transformError(kSecTransformErrorInvalidArgument,
                                                         "NULL transform can not be executed");
    auto* failure = std::get_if<Owned<Error>>(&outcome);
    if (error != nullptr) *error = failure != nullptr ? handOver<CFErrorRef>(std::move(*failure)) : nullptr;
    return failure != nullptr ? nullptr : handOver<CFTypeRef>(std::move(std::get<Owned<Data>>(outcome)));
  });
}
