#include "vornctl/identities/KeyStoreView.h"

#include <CoreFoundation/CoreFoundation.h>

#include <iterator>
#include <map>

#include "mac/app/CFRef.h"
#include "mac/app/CFValues.h"

namespace vorn::vornctl {
namespace {

std::string derOf(SecCertificateRef certificate) {
  const auto data = CFRef<CFDataRef>::adopt(SecCertificateCopyData(certificate));
  if (!data) return "";
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
          static_cast<std::size_t>(CFDataGetLength(data.get()))};
}

enum class Trust { kNone, kForSignatures, kForOtherPurposes, kProhibited };

/** Settings without a word of a policy are for every purpose; what they say counts once it forbids. */
Trust trustIn(SecCertificateRef certificate, SecTrustSettingsDomain domain) {
  CFArrayRef found = nullptr;
  if (SecTrustSettingsCopyTrustSettings(certificate, domain, &found) != errSecSuccess) return Trust::kNone;
  const auto settings = CFRef<CFArrayRef>::adopt(found);
  const CFIndex count = CFArrayGetCount(settings.get());
  Trust trust = count == 0 ? Trust::kForSignatures : Trust::kNone;
  for (CFIndex i = 0; i < count; ++i) {
    const auto* const one = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(settings.get(), i));
    const auto* const result = static_cast<CFNumberRef>(CFDictionaryGetValue(one, kSecTrustSettingsResult));
    int value = kSecTrustSettingsResultTrustRoot;
    if (result != nullptr) CFNumberGetValue(result, kCFNumberIntType, &value);
    if (value == kSecTrustSettingsResultDeny) return Trust::kProhibited;
    if (value != kSecTrustSettingsResultTrustRoot && value != kSecTrustSettingsResultTrustAsRoot) continue;
    const bool isForAll = CFDictionaryGetValue(one, kSecTrustSettingsPolicy) == nullptr;
    if (trust != Trust::kForSignatures) trust = isForAll ? Trust::kForSignatures : Trust::kForOtherPurposes;
  }
  return trust;
}

/** Whether the second says more than the first. */
bool outweighs(Trust one, Trust other) {
  return one == Trust::kProhibited || other == Trust::kNone ||
         (one == Trust::kForSignatures && other == Trust::kForOtherPurposes);
}

CFRef<CFArrayRef> certificatesInKeychains() {
  const void* keys[] = {kSecClass, kSecReturnRef, kSecMatchLimit};
  const void* values[] = {kSecClassCertificate, kCFBooleanTrue, kSecMatchLimitAll};
  const auto query = CFRef<CFDictionaryRef>::adopt(CFDictionaryCreate(
      kCFAllocatorDefault, keys, values, static_cast<CFIndex>(std::size(keys)), nullptr, nullptr));
  CFTypeRef found = nullptr;
  if (SecItemCopyMatching(query.get(), &found) != errSecSuccess) return {};
  return CFRef<CFArrayRef>::adopt(static_cast<CFArrayRef>(found));
}

}  // namespace

/** macOS asks for the password of a keychain by itself. */
KeyPlace placeOfKey(SecIdentityRef /*identity*/) {
  return {.token = "Keychain"};
}

Authorities authoritiesOfKeyStore() {
  std::map<std::string, Trust> certificates;
  const auto add = [&certificates](CFArrayRef array, auto trustOf) {
    for (CFIndex i = 0; array != nullptr && i < CFArrayGetCount(array); ++i) {
      auto* const certificate =
          static_cast<SecCertificateRef>(const_cast<void*>(CFArrayGetValueAtIndex(array, i)));
      const Trust trust = trustOf(certificate);
      const auto [known, isNew] = certificates.emplace(derOf(certificate), trust);
      if (!isNew && outweighs(trust, known->second)) known->second = trust;
    }
  };
  add(certificatesInKeychains().get(), [](SecCertificateRef) { return Trust::kNone; });
  for (const SecTrustSettingsDomain domain : {kSecTrustSettingsDomainUser, kSecTrustSettingsDomainAdmin}) {
    CFArrayRef found = nullptr;
    if (SecTrustSettingsCopyCertificates(domain, &found) != errSecSuccess) continue;
    const auto trusted = CFRef<CFArrayRef>::adopt(found);
    add(trusted.get(), [domain](SecCertificateRef certificate) { return trustIn(certificate, domain); });
  }
  Authorities authorities;
  for (const auto& [der, trust] : certificates) {
    if (trust == Trust::kForSignatures)
      authorities.trusted.push_back(der);
    else
      (trust == Trust::kProhibited ? authorities.prohibited : authorities.known).push_back(der);
    if (trust == Trust::kForOtherPurposes) authorities.forOtherPurposes.push_back(der);
  }
  return authorities;
}

}  // namespace vorn::vornctl
