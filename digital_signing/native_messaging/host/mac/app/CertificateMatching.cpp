#include "mac/app/CertificateMatching.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <algorithm>
#include <cstddef>
#include <optional>

#include "mac/app/CFRef.h"
#include "mac/app/CFValues.h"
#include "mac/app/CertificateDetails.h"
#include "shared/text/LetterCase.h"

namespace vorn {
namespace {

const log4cplus::Logger matchingLog = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("CertificateSelection"));

constexpr std::size_t kEmailBufferSize = 500;
constexpr std::size_t kABNBufferSize = 20;
constexpr CFIndex kDerHeaderSize = 2;
constexpr int kDigitalSignature = 1;

}  // namespace

std::optional<std::string> abnText(CFDataRef der) {
  if (CFDataGetLength(der) < kDerHeaderSize) return std::nullopt;
  const auto string = CFRef<CFStringRef>::adopt(
      CFStringCreateWithBytes(kCFAllocatorDefault, CFDataGetBytePtr(der) + kDerHeaderSize,
                              CFDataGetLength(der) - kDerHeaderSize, kCFStringEncodingUTF8, false));
  std::optional<std::string> text = utf8TextWithin(string.get(), kABNBufferSize);
  if (text) text->resize(std::min(text->size(), text->find('\0')));
  return text;
}

std::string lowerCaseHex(CFDataRef data) {
  constexpr char kDigits[] = "0123456789abcdef";
  const UInt8* bytes = CFDataGetBytePtr(data);
  std::string text;
  for (CFIndex i = 0; i < CFDataGetLength(data); ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0xF];
  }
  return text;
}

bool certificateEmailMatches(SecCertificateRef certificate, const std::string& email) {
  CFRef<CFArrayRef> addresses;
  const OSStatus status = SecCertificateCopyEmailAddresses(certificate, addresses.out());
  if (status != errSecSuccess) {
    LOG4CPLUS_WARN(matchingLog,
                   "An error has occurred getting certificate email. System error code = " << status);
    return false;
  }
  if (countOf(addresses.get()) == 0) {
    LOG4CPLUS_INFO(matchingLog, "Certificate does not contain email field");
    return false;
  }
  for (CFIndex i = 0; i < countOf(addresses.get()); ++i) {
    const std::optional<std::string> address =
        utf8TextWithin(ofType<CFStringRef>(CFArrayGetValueAtIndex(addresses.get(), i), CFStringGetTypeID()),
                       kEmailBufferSize);
    LOG4CPLUS_DEBUG(matchingLog, "Certificate email = " << address.value_or(""));
    if (address && asciiLowerCase(*address) == email) {
      LOG4CPLUS_DEBUG(matchingLog, "Certificate email matches request email");
      return true;
    }
  }
  return false;
}

bool certificateABNMatches(CFDictionaryRef values, const std::string& abn) {
  const CFArrayRef section = certificateSection(values, abnExtensionOID());
  for (CFIndex i = 0; i < countOf(section); ++i) {
    const CFDataRef der = dataInSection(section, i);
    if (der == nullptr) continue;
    const std::optional<std::string> text = abnText(der);
    LOG4CPLUS_DEBUG(matchingLog, "Certificate ABN = " << text.value_or(""));
    if (text == abn) {
      LOG4CPLUS_DEBUG(matchingLog, "Certificate ABN matches request ABN");
      return true;
    }
  }
  return false;
}

bool certificateAKIMatches(CFDictionaryRef values, const std::vector<std::string>& akis) {
  const CFArrayRef section = certificateSection(values, kSecOIDAuthorityKeyIdentifier);
  for (CFIndex i = 0; i < countOf(section); ++i) {
    const CFDataRef identifier = dataInSection(section, i);
    if (identifier == nullptr) continue;
    const std::string aki = lowerCaseHex(identifier);
    LOG4CPLUS_DEBUG(matchingLog, "Certificate AKI = " << aki);
    if (std::find(akis.begin(), akis.end(), aki) != akis.end()) {
      LOG4CPLUS_DEBUG(matchingLog, "Certificate AKI matches request AKI");
      return true;
    }
  }
  return false;
}

bool isSigningCertificate(CFDictionaryRef values) {
  int usage = 0;
  if (const CFNumberRef number = certificateNumber(values, kSecOIDKeyUsage); number != nullptr)
    CFNumberGetValue(number, kCFNumberIntType, &usage);
  // The log tells whether there is any key usage; what counts is the one bit.
  LOG4CPLUS_DEBUG(matchingLog, "Key usage includes Digital Signature = " << (usage != 0 ? "true" : "false"));
  return (usage & kDigitalSignature) != 0;
}

}  // namespace vorn
