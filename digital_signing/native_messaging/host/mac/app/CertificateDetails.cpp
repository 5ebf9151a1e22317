#include "mac/app/CertificateDetails.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <cstddef>

#include "mac/app/CFValues.h"
#include "mac/app/CertificateValues.h"
#include "mac/app/DeprecatedCalls.h"
#include "shared/base/Exceptions.h"

namespace vorn {
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CertificateSelection"));

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

}  // namespace

std::string encodeCertificate(SecCertificateRef certificate) {
  const auto der = CFRef<CFDataRef>::adopt(SecCertificateCopyData(certificate));
  if (!der) {
    LOG4CPLUS_ERROR(logger, "Failed to obtain certificate data");
    return "";
  }
  const CFRef<CFDataRef> encoded = base64Encode(der.get());
  if (!encoded) {
    LOG4CPLUS_ERROR(logger, "Failed to Base64 encode certificate data");
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
    LOG4CPLUS_ERROR(logger, utf8TextCutTo(description.get(), kErrorBufferSize));
    throw TechnicalException("CertificateSelection -  Failed to Base64 encode data. System error code = " +
                             std::to_string(CFErrorGetCode(error.get())));
  }
  return CFRef<CFDataRef>::retain(ofType<CFDataRef>(result.get(), CFDataGetTypeID()));
}

std::string getIssuerName(CFDictionaryRef values) {
  const CFArrayRef attributes = certificateSection(values, kSecOIDX509V1IssuerName);
  if (attributes == nullptr) {
    LOG4CPLUS_ERROR(logger, "Failed to extract issuer name from certificate");
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
