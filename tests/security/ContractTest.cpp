// What the host relies on in the Security interface, in terms of that interface alone: this source holds on
// macOS as well.
#include <CoreFoundation/CoreFoundation.h>
#include <Security/SecDigestTransform.h>
#include <Security/SecEncodeTransform.h>
#include <Security/SecEncryptTransform.h>
#include <Security/SecSignVerifyTransform.h>
#include <Security/Security.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mac/app/CFRef.h"
#include "mac/app/DeprecatedCalls.h"

using vorn::CFRef;

namespace {

/** A null reference, handed in where headers rule out the literal. */
template <class Ref>
Ref none() {
  return nullptr;
}

std::string text(CFStringRef string) {
  char buffer[1024] = "";
  CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8);
  return buffer;
}

CFRef<CFDataRef> data(const std::string& bytes) {
  return CFRef<CFDataRef>::adopt(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                              static_cast<CFIndex>(bytes.size())));
}

std::string bytes(CFTypeRef object) {
  const auto* content = static_cast<CFDataRef>(object);
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(content)),
          static_cast<std::size_t>(CFDataGetLength(content))};
}

TEST(Contract, Constants) {
  const std::pair<CFStringRef, const char*> rows[] = {
      // clang-format off
      {kSecClass, "class"}, {kSecClassIdentity, "idnt"}, {kSecAttrCanSign, "sign"},
      {kSecReturnRef, "r_Ref"}, {kSecMatchLimit, "m_Limit"}, {kSecMatchLimitAll, "m_LimitAll"},
      {kSecMatchSubjectWholeString, "m_SubjectWholeString"}, {kSecPropertyKeyType, "type"},
      {kSecPropertyKeyLabel, "label"}, {kSecPropertyKeyValue, "value"}, {kSecPropertyTypeData, "data"},
      {kSecOIDCommonName, "2.5.4.3"}, {kSecOIDKeyUsage, "2.5.29.15"},
      {kSecOIDAuthorityKeyIdentifier, "2.5.29.35"},
      {kSecOIDX509V1SerialNumber, "2.16.840.1.113741.2.1.1.1.3"},
      {kSecOIDX509V1IssuerName, "2.16.840.1.113741.2.1.1.1.5"},
      {kSecOIDX509V1ValidityNotBefore, "2.16.840.1.113741.2.1.1.1.6"},
      {kSecOIDX509V1ValidityNotAfter, "2.16.840.1.113741.2.1.1.1.7"},
      {kSecTransformInputAttributeName, "INPUT"}, {kSecInputIsAttributeName, "InputIs"},
      {kSecInputIsDigest, "Digest"},
      {kSecDigestTypeAttribute, "Digest Type"}, {kSecDigestLengthAttribute, "Digest Length"},
      {kSecDigestSHA1, "SHA1 Digest"}, {kSecDigestSHA2, "SHA2 Digest Family"},
      {kSecPaddingKey, "SecPaddingKey"}, {kSecPaddingPKCS1Key, "SecPaddingPKCS1Key"},
      // clang-format on
  };
  for (const auto& row : rows) EXPECT_EQ(text(row.first), row.second);
  EXPECT_EQ(errSecItemNotFound, -25300);
  EXPECT_EQ(errSecInvalidItemRef, -25304);
  EXPECT_EQ(errSecParam, -50);
}

TEST(Contract, Base64HasNoLineBreaks) {
  std::string longest;
  for (int i = 0; i < 32; ++i) longest += "eHh4";
  const std::pair<std::string, std::string> rows[] = {{"", ""},
                                                      {"f", "Zg=="},
                                                      {"fo", "Zm8="},
                                                      {std::string("\x00\xff\xfb\xef", 4), "AP/77w=="},
                                                      {std::string(96, 'x'), longest}};
  for (const auto& row : rows) {
    CFRef<CFErrorRef> error;
    const auto encoder =
        CFRef<SecTransformRef>::adopt(SecEncodeTransformCreate(kSecBase64Encoding, error.out()));
    const auto input = data(row.first);
    ASSERT_TRUE(
        SecTransformSetAttribute(encoder.get(), kSecTransformInputAttributeName, input.get(), error.out()));
    const auto output = CFRef<CFTypeRef>::adopt(SecTransformExecute(encoder.get(), error.out()));
    ASSERT_TRUE(output);
    EXPECT_FALSE(error);
    EXPECT_EQ(bytes(output.get()), row.second);
  }
}

TEST(Contract, SigningWithoutAKeyFailsWhenItIsRun) {
  CFRef<CFErrorRef> error;
  const auto signer = CFRef<SecTransformRef>::adopt(SecSignTransformCreate(none<SecKeyRef>(), error.out()));
  ASSERT_TRUE(signer);
  EXPECT_FALSE(error);
  const auto digest = data(std::string(20, 'd'));
  EXPECT_TRUE(
      SecTransformSetAttribute(signer.get(), kSecTransformInputAttributeName, digest.get(), error.out()));
  EXPECT_TRUE(SecTransformSetAttribute(signer.get(), kSecPaddingKey, kSecPaddingPKCS1Key, error.out()));
  EXPECT_FALSE(error);
  EXPECT_EQ(SecTransformExecute(signer.get(), error.out()), nullptr);
  ASSERT_TRUE(error);
  EXPECT_EQ(CFErrorGetCode(error.get()), 14);
  const auto description = CFRef<CFStringRef>::adopt(CFErrorCopyDescription(error.get()));
  EXPECT_TRUE(text(description.get())
                  .starts_with("The operation couldn\u2019t be completed. "
                               "(com.apple.security.transforms.error error 14 - Can not execute "))
      << text(description.get());
  EXPECT_TRUE(
      text(description.get()).ends_with("com.apple.security.Sign, missing required attributes: KEY)"));
}

}  // namespace
