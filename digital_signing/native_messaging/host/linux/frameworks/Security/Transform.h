#pragma once

#include <variant>

#include "Security/SecTransform.h"
#include "linux/frameworks/CoreFoundation/CFInternal.h"

namespace vorn::frameworks {

/** What a transform came to. */
using Outcome = std::variant<Owned<Data>, Owned<Error>>;

/** An error of the transforms themselves. */
Owned<Error> transformError(CFIndex code, std::string_view description);
/** What the cryptography below has to say: an error in the domain "Internal CSSM error". */
Owned<Error> internalError(OSStatus code, std::string_view where);

/** The head of all transforms: named attributes, and their execution. */
class Transform : public Object {
 public:
  static constexpr CFTypeID kType = kTypeTransform;

  /** Stores and retains a value; null unsets the attribute. */
  void set(CFStringRef key, CFTypeRef value);
  Outcome execute();

 protected:
  /** `required` are the attributes without which it does not run. */
  Transform(std::string_view typeName, std::vector<CFStringRef> required)
      : Object(kType), typeName_(typeName), required_(std::move(required)) {}

  virtual Outcome run() = 0;

  /** The value of an attribute; null when it is unset. */
  CFTypeRef attribute(CFStringRef key) const;

 private:
  const std::string_view typeName_;
  const std::vector<CFStringRef> required_;
  std::vector<Entry> attributes_;
};

}  // namespace vorn::frameworks
