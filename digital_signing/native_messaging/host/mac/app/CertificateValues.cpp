#include "mac/app/CertificateValues.h"

#include <iterator>

#include "mac/app/CFValues.h"

namespace vorn {

CFTypeRef certificateValue(CFDictionaryRef values, CFStringRef oid) {
  const auto property = ofType<CFDictionaryRef>(CFDictionaryGetValue(values, oid), CFDictionaryGetTypeID());
  return property != nullptr ? CFDictionaryGetValue(property, kSecPropertyKeyValue) : nullptr;
}

CFStringRef certificateString(CFDictionaryRef values, CFStringRef oid) {
  return ofType<CFStringRef>(certificateValue(values, oid), CFStringGetTypeID());
}

CFNumberRef certificateNumber(CFDictionaryRef values, CFStringRef oid) {
  return ofType<CFNumberRef>(certificateValue(values, oid), CFNumberGetTypeID());
}

CFArrayRef certificateSection(CFDictionaryRef values, CFStringRef oid) {
  return ofType<CFArrayRef>(certificateValue(values, oid), CFArrayGetTypeID());
}

CFAbsoluteTime certificateTime(CFDictionaryRef values, CFStringRef oid) {
  double seconds = 0;
  if (const CFNumberRef number = certificateNumber(values, oid); number != nullptr)
    CFNumberGetValue(number, kCFNumberDoubleType, &seconds);
  return seconds;
}

CFDataRef dataInSection(CFArrayRef section, CFIndex index) {
  const auto property =
      ofType<CFDictionaryRef>(CFArrayGetValueAtIndex(section, index), CFDictionaryGetTypeID());
  if (property == nullptr) return nullptr;
  const auto type =
      ofType<CFStringRef>(CFDictionaryGetValue(property, kSecPropertyKeyType), CFStringGetTypeID());
  if (type == nullptr || CFStringCompare(type, CFSTR("data"), kCFCompareCaseInsensitive) != kCFCompareEqualTo)
    return nullptr;
  return ofType<CFDataRef>(CFDictionaryGetValue(property, kSecPropertyKeyValue), CFDataGetTypeID());
}

CFRef<CFDictionaryRef> copySelectionValues(SecCertificateRef certificate) {
  const void* oids[] = {abnExtensionOID(),
                        kSecOIDAuthorityKeyIdentifier,
                        kSecOIDX509V1SerialNumber,
                        kSecOIDX509V1ValidityNotBefore,
                        kSecOIDX509V1ValidityNotAfter,
                        kSecOIDKeyUsage,
                        kSecOIDX509V1IssuerName};
  const auto keys = CFRef<CFArrayRef>::adopt(CFArrayCreate(
      kCFAllocatorDefault, oids, static_cast<CFIndex>(std::size(oids)), &kCFTypeArrayCallBacks));
  return CFRef<CFDictionaryRef>::adopt(SecCertificateCopyValues(certificate, keys.get(), nullptr));
}

}  // namespace vorn
