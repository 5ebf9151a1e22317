#include "vornctl/identities/CertificateDescription.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <utility>

#include "mac/app/CFValues.h"
#include "mac/app/CertificateDetails.h"
#include "mac/app/CertificateMatching.h"
#include "mac/app/DeprecatedCalls.h"

namespace vorn::vornctl {
namespace {

std::vector<std::string> emailsOf(SecCertificateRef certificate) {
  std::vector<std::string> texts;
  CFRef<CFArrayRef> addresses;
  SecCertificateCopyEmailAddresses(certificate, addresses.out());
  for (CFIndex i = 0; i < countOf(addresses.get()); ++i) {
    const auto* const address =
        ofType<CFStringRef>(CFArrayGetValueAtIndex(addresses.get(), i), CFStringGetTypeID());
    if (const auto text = utf8Text(address)) texts.push_back(*text);
  }
  return texts;
}

/** The data items of a section, each as the text that `toText` makes of it. */
template <typename ToText>
std::vector<std::string> textsOf(CFDictionaryRef values, CFStringRef oid, ToText toText) {
  std::vector<std::string> texts;
  const CFArrayRef section = certificateSection(values, oid);
  for (CFIndex i = 0; i < countOf(section); ++i)
    if (const CFDataRef data = dataInSection(section, i); data != nullptr) texts.push_back(toText(data));
  return texts;
}

std::string localTime(CFAbsoluteTime time) {
  constexpr std::size_t kThroughMinutes = sizeof "2030-07-01T00:00" - 1;
  std::string text = formatCertificateDate(time).substr(0, kThroughMinutes);
  if (const std::size_t separator = text.find('T'); separator != std::string::npos) text[separator] = ' ';
  return text;
}

bool hasRsaKey(SecCertificateRef certificate) {
  CFRef<SecKeyRef> key;
  const CSSM_KEY* described = nullptr;
  return SecCertificateCopyPublicKey(certificate, key.out()) == errSecSuccess &&
         SecKeyGetCSSMKey(key.get(), &described) == errSecSuccess && described != nullptr;
}

}  // namespace

CertificateDescription describe(SecCertificateRef certificate) {
  CertificateDescription description;
  CFRef<CFStringRef> name;
  if (SecCertificateCopyCommonName(certificate, name.out()) == errSecSuccess)
    description.name = utf8Text(name.get()).value_or("");
  description.emails = emailsOf(certificate);
  const CFRef<CFDictionaryRef> values = copySelectionValues(certificate);
  if (!values) return description;
  description.abns = textsOf(values.get(), abnExtensionOID(),
                             [](CFDataRef data) { return abnText(data).value_or(kUnreadable); });
  description.akis = textsOf(values.get(), kSecOIDAuthorityKeyIdentifier, lowerCaseHex);
  description.serial = utf8Text(certificateString(values.get(), kSecOIDX509V1SerialNumber)).value_or("");
  description.issuer = getIssuerName(values.get());
  const CFAbsoluteTime notAfter = certificateTime(values.get(), kSecOIDX509V1ValidityNotAfter);
  const CFAbsoluteTime notBefore = certificateTime(values.get(), kSecOIDX509V1ValidityNotBefore);
  description.start = localTime(notBefore);
  description.notYetValid = CFAbsoluteTimeGetCurrent() < notBefore;
  description.expiry = localTime(notAfter);
  description.expired = CFAbsoluteTimeGetCurrent() > notAfter;
  description.isRsa = hasRsaKey(certificate);
  description.maySign = isSigningCertificate(values.get());
  return description;
}

std::optional<CertificateDescription> describe(const std::string& der) {
  const auto data = CFRef<CFDataRef>::adopt(CFDataCreate(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(der.data()), static_cast<CFIndex>(der.size())));
  const auto certificate =
      CFRef<SecCertificateRef>::adopt(SecCertificateCreateWithData(kCFAllocatorDefault, data.get()));
  return certificate ? std::optional(describe(certificate.get())) : std::nullopt;
}

int daysUntil(const std::string& localTime) {
  constexpr int kFar = 1 << 20;
  constexpr double kSecondsOfDay = 86400;
  std::tm day{};
  if (std::sscanf(localTime.c_str(), "%d-%d-%d", &day.tm_year, &day.tm_mon, &day.tm_mday) != 3) return kFar;
  day.tm_year -= 1900;
  day.tm_mon -= 1;
  day.tm_isdst = -1;
  const double days = std::difftime(std::mktime(&day), std::time(nullptr)) / kSecondsOfDay;
  return days > kFar ? kFar : static_cast<int>(std::ceil(days));
}

std::string inDays(int days) {
  if (days < 1) return "today";
  return "in " + std::to_string(days) + (days == 1 ? " day" : " days");
}

bool isReadable(const std::string& abn) {
  return abn != kUnreadable && !abn.empty();
}

std::vector<Fault> whyItNeverSigns(const CertificateDescription& certificate) {
  std::vector<Fault> faults;
  const auto require = [&faults](bool passed, Fault fault) {
    if (!passed) faults.push_back(std::move(fault));
  };
  const std::string reissue = "ask \"" + certificate.issuer + "\" for a certificate ";
  require(!certificate.expired, {code::kExpired, "it has expired on " + certificate.expiry.substr(0, 10),
                                 "renew the certificate and import the new one"});
  require(certificate.isRsa, {code::kKeyNoRsa, "its key is no RSA key", reissue + "with an RSA key"});
  require(!certificate.name.empty(),
          {code::kNoName, "its subject has no common name", reissue + "that names you"});
  require(!certificate.emails.empty(),
          {code::kNoEmail, "it has no e-mail address", reissue + "with your e-mail address"});
  const std::vector<std::string>& abns = certificate.abns;
  require(!abns.empty(),
          {code::kNoAbn, "it has no ABN (Australian Business Number)", reissue + "with the ABN"});
  const bool anyReadable = std::any_of(abns.begin(), abns.end(), &isReadable);
  require(abns.empty() || anyReadable, {code::kOddAbn, "its ABN (Australian Business Number) cannot be read",
                                        reissue + "with the ABN as a text"});
  require(!certificate.akis.empty(), {code::kNoAki, "it has no authority key identifier (AKI)",
                                      reissue + "that names the key of its authority"});
  require(certificate.maySign, {code::kKeyUsage, "its key usage does not include digital signatures",
                                reissue + "for digital signatures"});
  return faults;
}

}  // namespace vorn::vornctl
