// What the host relies on in the Security interface, in terms of that interface alone: this source holds on
// macOS as well.
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>
#include <gtest/gtest.h>

#include <string>

#include "mac/app/DeprecatedCalls.h"

namespace {

std::string text(CFStringRef string) {
  char buffer[1024] = "";
  CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8);
  return buffer;
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

}  // namespace
