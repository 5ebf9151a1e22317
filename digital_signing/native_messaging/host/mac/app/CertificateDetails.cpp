#include "mac/app/CertificateDetails.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <cstddef>
#include <iterator>

#include "mac/app/CFValues.h"
#include "mac/app/DeprecatedCalls.h"
#include "shared/base/Exceptions.h"

namespace vorn {
namespace {

const log4cplus::Logger detailsLog = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CertificateSelection"));

constexpr std::size_t kErrorBufferSize = 500;

/** Runs the transform over `data`. An error object decides over failure, whatever else was returned. */
CFRef<CFTypeRef> encode(CFDataRef data, CFRef<CFErrorRef>& error) {
  const auto transform =
      CFRef<SecTransformRef>::adopt(SecEncodeTransformCreate(kSecBase64Encoding, error.out()));
  if (error || !transform) return {};
  if (!SecTransformSetAttribute(transform.get(), kSecTransformInputAttributeName, data, error.out()) || error)
    return {};
  return CFRef<CFTypeRef>::adopt(SecTransformExecute(transform.get(), error.out()));
}

CFTypeRef certificateValue(CFDictionaryRef values, CFStringRef oid) {
  const auto property = ofType<CFDictionaryRef>(CFDictionaryGetValue(values, oid), CFDictionaryGetTypeID());
  return property != nullptr ? CFDictionaryGetValue(property, kSecPropertyKeyValue) : nullptr;
}

}  // namespace

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

std::string encodeCertificate(SecCertificateRef certificate) {
  const auto der = CFRef<CFDataRef>::adopt(SecCertificateCopyData(certificate));
  if (!der) {
    LOG4CPLUS_ERROR(detailsLog, "Failed to obtain certificate data");
    return "";
  }
  const CFRef<CFDataRef> encoded = base64Encode(der.get());
  if (!encoded) {
    LOG4CPLUS_ERROR(detailsLog, "Failed to Base64 encode certificate data");
    return "";
  }
  const auto text = CFRef<CFStringRef>::adopt(
      CFStringCreateWithBytes(kCFAllocatorDefault, CFDataGetBytePtr(encoded.get()),
                              CFDataGetLength(encoded.get()), kCFStringEncodingUTF8, false));
  return utf8Text(text.get()).value_or("");
}

CFRef<CFDataRef> base64Encode(CFDataRef data) {
  CFRef<CFErrorRef> error;
  CFRef<CFTypeRef> result = encode(data, error);
  if (error) {
    const auto description = CFRef<CFStringRef>::adopt(CFErrorCopyDescription(error.get()));
    LOG4CPLUS_ERROR(detailsLog, utf8TextCutTo(description.get(), kErrorBufferSize));
    throw TechnicalException("CertificateSelection -  Failed to Base64 encode data. System error code = " +
                             std::to_string(CFErrorGetCode(error.get())));
  }
  return CFRef<CFDataRef>::retain(ofType<CFDataRef>(result.get(), CFDataGetTypeID()));
}

std::string getIssuerName(CFDictionaryRef values) {
  const CFArrayRef attributes = certificateSection(values, kSecOIDX509V1IssuerName);
  if (attributes == nullptr) {
    LOG4CPLUS_ERROR(detailsLog, "Failed to extract issuer name from certificate");
    return "";
  }
  for (CFIndex i = 0; i < CFArrayGetCount(attributes); ++i) {
    const auto attribute =
        ofType<CFDictionaryRef>(CFArrayGetValueAtIndex(attributes, i), CFDictionaryGetTypeID());
    // An attribute set of several attributes has no label.
    const CFTypeRef label =
        attribute != nullptr ? CFDictionaryGetValue(attribute, kSecPropertyKeyLabel) : nullptr;
    if (label != nullptr && CFEqual(label, kSecOIDCommonName)) {
      const auto name =
          ofType<CFStringRef>(CFDictionaryGetValue(attribute, kSecPropertyKeyValue), CFStringGetTypeID());
      return utf8Text(name).value_or("");
    }
  }
  return "";
}

std::string formatCertificateDate(CFAbsoluteTime time) {
  const auto formatter = CFRef<CFDateFormatterRef>::adopt(CFDateFormatterCreate(
      kCFAllocatorDefault, nullptr, kCFDateFormatterShortStyle, kCFDateFormatterShortStyle));
  if (!formatter) return "";
  CFDateFormatterSetFormat(formatter.get(), CFSTR("yyyy-MM-dd'T'HH:mm:ss'.000Z'"));
  const auto text = CFRef<CFStringRef>::adopt(
      CFDateFormatterCreateStringWithAbsoluteTime(kCFAllocatorDefault, formatter.get(), time));
  return utf8Text(text.get()).value_or("");
}

}  // namespace vorn
