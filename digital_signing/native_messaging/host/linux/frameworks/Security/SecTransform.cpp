#include "Security/SecTransform.h"

#include <cstdio>
#include <random>

#include "linux/frameworks/Security/Transform.h"

namespace vorn::frameworks {
namespace {

/** Nine random letters in front keep the names of transforms apart. */
std::string makeName(std::string_view typeName) {
  std::random_device device;
  std::uniform_int_distribution<int> letter('A', 'Z');
  std::string name(9, '\0');
  for (char& character : name) {
    character = static_cast<char>(letter(device));
  }
  return name.append("-").append(typeName);
}

/** Gives the error, or null, to whoever asked for it; whether there was none. */
Boolean report(Owned<> error, CFErrorRef* place) {
  const Boolean succeeded = error == nullptr;
  if (place != nullptr) {
    *place = handOver<CFErrorRef>(std::move(error));
  }
  return succeeded;
}

}  // namespace

Owned<> transformError(CFIndex code, std::string_view description) {
  return makeError(kSecTransformErrorDomain, code, description);
}

Owned<> internalError(OSStatus code, std::string_view where) {
  char hexadecimal[9];
  std::snprintf(hexadecimal, sizeof hexadecimal, "%x", static_cast<UInt32>(code));
  const std::string description = std::string("Internal error #").append(hexadecimal).append(" at ");
  return makeError(constantString<"Internal CSSM error">(), code, description + std::string(where));
}

Transform::Transform(std::string_view typeName, std::vector<CFStringRef> required)
    : Object(kType), name_(makeName(typeName)), required_(std::move(required)) {}

void Transform::store(CFStringRef key, CFTypeRef value) {
  for (Attribute& attribute : attributes_) {
    if (CFEqual(attribute.key.get(), key) != 0) {
      attribute.value = retained(value);
      return;
    }
  }
  attributes_.push_back({retained(key), retained(value)});
}

CFTypeRef Transform::attribute(CFStringRef key) const {
  for (const Attribute& attribute : attributes_) {
    if (CFEqual(attribute.key.get(), key) != 0) {
      return attribute.value.get();
    }
  }
  return nullptr;
}

void Transform::abort(Owned<> error) {
  abortError_ = std::move(error);
}

Owned<> Transform::setAttribute(CFStringRef key, CFTypeRef value) {
  const std::string text = utf8Of(key);
  if (abortError_) {
    CFStringRef description = CFErrorCopyDescription(asRef<CFErrorRef>(abortError_.get()));
    const std::string reason = utf8Of(description);
    CFRelease(description);
    return transformError(kSecTransformErrorAborted, "ABORT has been sent to the transform (" + reason + ")");
  }
  if (text.starts_with('_')) {
    return transformError(kSecTransformErrorUnsupportedAttribute,
                          "Can't set attribute " + text + " in transform " + name_);
  }
  store(key, value);
  return nullptr;
}

std::string Transform::missingAttributes() const {
  std::string missing;
  for (CFStringRef key : required_) {
    if (attribute(key) == nullptr) {
      missing.append(missing.empty() ? "" : ", ").append(utf8Of(key));
    }
  }
  return missing;
}

Outcome Transform::execute() {
  if (abortError_) {
    return fail(retained(abortError_.get()));
  }
  if (executed_) {
    return fail(
        transformError(kSecTransformTransformIsExecuting,
                       "The " + name_ + " transform has already executed, it may not be executed again."));
  }
  if (const std::string missing = missingAttributes(); !missing.empty()) {
    return fail(transformError(kSecTransformErrorMissingParameter,
                               "Can not execute " + name_ + ", missing required attributes: " + missing));
  }
  executed_ = true;
  return run();
}

}  // namespace vorn::frameworks

using namespace vorn::frameworks;

CFTypeID SecTransformGetTypeID() {
  return kTypeTransform;
}

Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef* error) {
  return guarded([&]() -> Boolean {
    auto* object = objectCast<Transform>(transform);
    const bool valid = object != nullptr && objectCast<String>(key) != nullptr;
    Owned<> failure = valid ? object->setAttribute(key, value)
                            : transformError(kSecTransformErrorInvalidArgument,
                                             "An attribute needs a transform and a name");
    return report(std::move(failure), error);
  });
}

CFTypeRef SecTransformExecute(SecTransformRef transform, CFErrorRef* error) {
  return guarded([&]() -> CFTypeRef {
    auto* object = objectCast<Transform>(transform);
    Outcome outcome =
        object != nullptr
            ? object->execute()
            : fail(transformError(kSecTransformErrorInvalidArgument, "NULL transform can not be executed"));
    report(std::move(outcome.error), error);
    return handOver<CFTypeRef>(std::move(outcome.value));
  });
}
