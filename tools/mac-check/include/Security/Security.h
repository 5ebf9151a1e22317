#pragma once

/**
 * The host's part of Security, marked as it is in the headers of macOS: a call of what is deprecated there is
 * reported here too, unless the source that makes it asks for silence.
 */
#include_next <Security/Security.h>
#include <cstdint>

#define VORN_DEPRECATED(since) __attribute__((availability(macos, introduced = 10.2, deprecated = since)))

#pragma clang assume_nonnull begin
extern "C" {

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef _Nullable* _Nullable result);
CFDataRef SecCertificateCopyData(SecCertificateRef certificate);
OSStatus SecCertificateCopyEmailAddresses(SecCertificateRef certificate, CFArrayRef _Nullable* emails);
CFDictionaryRef _Nullable SecCertificateCopyValues(SecCertificateRef certificate, CFArrayRef _Nullable keys,
                                                   CFErrorRef _Nullable* _Nullable error);
OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef _Nullable* certificate);
OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identity, SecKeyRef _Nullable* key);

VORN_DEPRECATED(10.14)
OSStatus SecCertificateCopyPublicKey(SecCertificateRef certificate, SecKeyRef _Nullable* key);
VORN_DEPRECATED(10.7) OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY* _Nullable* cssmKey);
VORN_DEPRECATED(10.13)
SecTransformRef _Nullable SecEncodeTransformCreate(CFTypeRef type, CFErrorRef _Nullable* _Nullable error);
VORN_DEPRECATED(10.13)
SecTransformRef _Nullable SecSignTransformCreate(SecKeyRef key, CFErrorRef _Nullable* _Nullable error);
VORN_DEPRECATED(10.13)
Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef _Nullable* _Nullable error);
VORN_DEPRECATED(10.13)
CFTypeRef _Nullable SecTransformExecute(SecTransformRef transform, CFErrorRef _Nullable* _Nullable error);

using SecTrustSettingsDomain = std::uint32_t;
constexpr SecTrustSettingsDomain kSecTrustSettingsDomainUser = 0;
constexpr SecTrustSettingsDomain kSecTrustSettingsDomainAdmin = 1;
constexpr std::int32_t kSecTrustSettingsResultTrustRoot = 1;
constexpr std::int32_t kSecTrustSettingsResultTrustAsRoot = 2;
constexpr std::int32_t kSecTrustSettingsResultDeny = 3;
// Plain text constants there, each made into a string where it stands.
#define kSecTrustSettingsPolicy CFSTR("kSecTrustSettingsPolicy")
#define kSecTrustSettingsResult CFSTR("kSecTrustSettingsResult")
extern const CFStringRef kSecClassCertificate;
OSStatus SecTrustSettingsCopyCertificates(SecTrustSettingsDomain domain,
                                          CFArrayRef _Nullable* _Nullable certificates);
OSStatus SecTrustSettingsCopyTrustSettings(SecCertificateRef certificate, SecTrustSettingsDomain domain,
                                           CFArrayRef _Nullable* settings);
}
#pragma clang assume_nonnull end
