#pragma once

#include <string>

#include "Security/SecTransform.h"
#include "linux/frameworks/CoreFoundation/CFInternal.h"

namespace vorn::frameworks {

/** An error in kSecTransformErrorDomain. */
Owned<> transformError(CFIndex code, std::string_view description);
/** What the cryptography below has to say: an error in the domain "Internal CSSM error". */
Owned<> internalError(OSStatus code, std::string_view where);

/** What a transform came to: exactly one of the two. */
struct Outcome {
  Owned<> value;
  Owned<> error;
};

inline Outcome succeed(Owned<> value) {
  return {std::move(value), nullptr};
}
inline Outcome fail(Owned<> error) {
  return {nullptr, std::move(error)};
}

/** The head of all transforms: named attributes, and one execution. */
class Transform : public Object {
 public:
  static constexpr CFTypeID kType = kTypeTransform;

  /** The error, or null on success. */
  Owned<> setAttribute(CFStringRef key, CFTypeRef value);
  Outcome execute();

 protected:
  /** `required` are the attributes without which it does not run. */
  Transform(std::string_view typeName, std::vector<CFStringRef> required);

  virtual Outcome run() = 0;

  /** Stores and retains a value, whatever the key. */
  void store(CFStringRef key, CFTypeRef value);
  /** The value of an attribute; null when it is unset. */
  CFTypeRef attribute(CFStringRef key) const;
  /** From here on the transform only gives this error. */
  void abort(Owned<> error);

 private:
  struct Attribute {
    Owned<> key;
    Owned<> value;
  };

  std::string missingAttributes() const;

  const std::string name_;
  const std::vector<CFStringRef> required_;
  std::vector<Attribute> attributes_;
  Owned<> abortError_;
  bool executed_ = false;
};

}  // namespace vorn::frameworks
