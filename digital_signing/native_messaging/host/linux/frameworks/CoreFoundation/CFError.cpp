#include "CoreFoundation/CFError.h"

#include <array>
#include <system_error>

#include "CoreFoundation/CFInternal.h"

using namespace vorn::frameworks;

constinit const CFErrorDomain kCFErrorDomainPOSIX = constantString<"NSPOSIXErrorDomain">();
constinit const CFErrorDomain kCFErrorDomainOSStatus = constantString<"NSOSStatusErrorDomain">();
constinit const CFErrorDomain kCFErrorDomainMach = constantString<"NSMachErrorDomain">();
constinit const CFErrorDomain kCFErrorDomainCocoa = constantString<"NSCocoaErrorDomain">();

constinit const CFStringRef kCFErrorLocalizedDescriptionKey = constantString<"NSLocalizedDescription">();
constinit const CFStringRef kCFErrorLocalizedFailureKey = constantString<"NSLocalizedFailure">();
constinit const CFStringRef kCFErrorLocalizedFailureReasonKey = constantString<"NSLocalizedFailureReason">();
constinit const CFStringRef kCFErrorDescriptionKey = constantString<"NSDescription">();

namespace {

constexpr const char16_t* kNotCompleted = u"The operation couldn\u2019t be completed. ";

/** The text under a key of the user information; null when it is not there or not a text. */
CFStringRef textAt(const Error& error, CFStringRef key) {
  const void* value = CFDictionaryGetValue(error.userInfo(), key);
  return objectCast<String>(value) == nullptr ? nullptr : static_cast<CFStringRef>(value);
}

std::u16string ascii(const std::string& text) {
  return {text.begin(), text.end()};
}

std::u16string domainName(CFErrorDomain domain) {
  struct Name {
    CFStringRef domain;
    const char16_t* shown;
  };
  static const std::array<Name, 5> kNames = {
      {{kCFErrorDomainOSStatus, u"OSStatus"},
       {kCFErrorDomainPOSIX, u"POSIX"},
       {kCFErrorDomainMach, u"Mach"},
       {kCFErrorDomainCocoa, u"Cocoa"},
       {constantString<"NSCoreFoundationErrorDomain">(), u"Core Foundation"}}};
  for (const auto& name : kNames) {
    if (CFEqual(name.domain, domain)) {
      return name.shown;
    }
  }
  return utf16Of(domain);
}

/** Why it failed: as the error says, else as the domain knows; empty when neither does. */
std::u16string reasonOf(const Error& error) {
  if (CFStringRef reason = textAt(error, kCFErrorLocalizedFailureReasonKey)) {
    return utf16Of(reason);
  }
  if (CFEqual(error.domain(), kCFErrorDomainPOSIX)) {
    return ascii(std::generic_category().message(static_cast<int>(error.code())));
  }
  return {};
}

std::u16string describe(const Error& error) {
  if (CFStringRef description = textAt(error, kCFErrorLocalizedDescriptionKey)) {
    return utf16Of(description);
  }
  const std::u16string reason = reasonOf(error);
  if (CFStringRef failure = textAt(error, kCFErrorLocalizedFailureKey)) {
    return reason.empty() ? utf16Of(failure) : utf16Of(failure) + u" " + reason;
  }
  if (!reason.empty()) {
    return kNotCompleted + reason;
  }
  std::u16string text = kNotCompleted;
  text.append(u"(").append(domainName(error.domain()));
  text.append(u" error ").append(ascii(std::to_string(error.code())));
  if (CFStringRef description = textAt(error, kCFErrorDescriptionKey)) {
    return text.append(u" - ").append(utf16Of(description)).append(u")");
  }
  return text.append(u".)");
}

}  // namespace

namespace vorn::frameworks {

Error::Error(CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo)
    : Object(kType), domain_(retained(domain)), code_(code), userInfo_(retained(userInfo)) {}

bool Error::equals(const Object& other) const {
  const auto& error = static_cast<const Error&>(other);
  return code_ == error.code_ && CFEqual(domain(), error.domain()) && CFEqual(userInfo(), error.userInfo());
}

Owned<Error> makeError(CFErrorDomain domain, CFIndex code, std::string_view description) {
  const auto userInfo = makeDictionaryOf(Entry(kCFErrorDescriptionKey, makeString(description)));
  return Owned<Error>(new Error(domain, code, asRef<CFDictionaryRef>(userInfo.get())));
}

}  // namespace vorn::frameworks

CFTypeID CFErrorGetTypeID() {
  return kTypeError;
}

CFErrorRef CFErrorCreate(CFAllocatorRef /*allocator*/, CFErrorDomain domain, CFIndex code,
                         CFDictionaryRef userInfo) {
  const bool isUserInfo = userInfo == nullptr || objectCast<Dictionary>(userInfo) != nullptr;
  if (objectCast<String>(domain) == nullptr || !isUserInfo) {
    return nullptr;
  }
  return guarded([&] { return handOver<CFErrorRef>(Owned<Error>(new Error(domain, code, userInfo))); });
}

CFErrorDomain CFErrorGetDomain(CFErrorRef error) {
  const auto* object = objectCast<Error>(error);
  return object == nullptr ? nullptr : object->domain();
}

CFIndex CFErrorGetCode(CFErrorRef error) {
  const auto* object = objectCast<Error>(error);
  return object == nullptr ? 0 : object->code();
}

CFStringRef CFErrorCopyDescription(CFErrorRef error) {
  const auto* object = objectCast<Error>(error);
  if (object == nullptr) {
    return nullptr;
  }
  return guarded([&] { return handOver<CFStringRef>(makeStringUtf16(describe(*object))); });
}
