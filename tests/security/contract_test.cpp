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

CFRef<CFStringRef> string(const char* text) {
  return CFRef<CFStringRef>::adopt(CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8));
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
      {kSecPropertyKeyLabel, "label"}, {kSecPropertyKeyLocalizedLabel, "localized label"},
      {kSecPropertyKeyValue, "value"}, {kSecPropertyTypeData, "data"}, {kSecPropertyTypeString, "string"},
      {kSecPropertyTypeSection, "section"}, {kSecPropertyTypeNumber, "number"},
      {kSecPropertyTypeURL, "url"}, {kSecOIDCommonName, "2.5.4.3"}, {kSecOIDKeyUsage, "2.5.29.15"},
      {kSecOIDAuthorityKeyIdentifier, "2.5.29.35"},
      {kSecOIDX509V1SerialNumber, "2.16.840.1.113741.2.1.1.1.3"},
      {kSecOIDX509V1IssuerName, "2.16.840.1.113741.2.1.1.1.5"},
      {kSecOIDX509V1ValidityNotBefore, "2.16.840.1.113741.2.1.1.1.6"},
      {kSecOIDX509V1ValidityNotAfter, "2.16.840.1.113741.2.1.1.1.7"},
      {kSecTransformErrorDomain, "com.apple.security.transforms.error"},
      {kSecTransformInputAttributeName, "INPUT"}, {kSecInputIsAttributeName, "InputIs"},
      {kSecInputIsPlainText, "PlainText"}, {kSecInputIsDigest, "Digest"}, {kSecInputIsRaw, "Raw"},
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

TEST(Contract, ArgumentsThatAreNothing) {
  CFTypeRef result = nullptr;
  CFArrayRef emails = nullptr;
  SecCertificateRef certificate = nullptr;
  SecKeyRef key = nullptr;
  const CSSM_KEY* cssmKey = nullptr;
  EXPECT_EQ(SecItemCopyMatching(none<CFDictionaryRef>(), &result), errSecParam);
  EXPECT_EQ(SecCertificateCopyEmailAddresses(none<SecCertificateRef>(), &emails), errSecParam);
  EXPECT_EQ(SecIdentityCopyCertificate(none<SecIdentityRef>(), &certificate), errSecParam);
  EXPECT_EQ(SecIdentityCopyPrivateKey(none<SecIdentityRef>(), &key), errSecInvalidItemRef);
  EXPECT_EQ(SecCertificateCopyPublicKey(none<SecCertificateRef>(), &key), errSecInvalidItemRef);
  EXPECT_EQ(SecKeyGetCSSMKey(none<SecKeyRef>(), &cssmKey), errSecInvalidItemRef);
  EXPECT_EQ(SecCertificateCopyData(none<SecCertificateRef>()), nullptr);
  CFStringRef name = nullptr;
  EXPECT_EQ(SecCertificateCopyCommonName(none<SecCertificateRef>(), &name), errSecParam);
  EXPECT_EQ(SecCertificateCreateWithData(nullptr, none<CFDataRef>()), nullptr);
  EXPECT_EQ(SecCertificateCreateWithData(nullptr, data("no certificate").get()), nullptr);

  CFRef<CFErrorRef> error;
  EXPECT_EQ(SecCertificateCopyValues(none<SecCertificateRef>(), nullptr, error.out()), nullptr);
  ASSERT_TRUE(error);
  EXPECT_EQ(CFErrorGetCode(error.get()), -67690);
  EXPECT_EQ(text(CFErrorGetDomain(error.get())), "NSOSStatusErrorDomain");
}

TEST(Contract, QueriesThatCannotBeAnswered) {
  const auto name = string("Jane Citizen");
  const auto number = data("not a name");
  const struct {
    std::vector<const void*> keys, values;
  } rows[] = {
      {{}, {}},
      {{kSecMatchSubjectWholeString}, {name.get()}},
      {{kSecClass}, {name.get()}},
      {{kSecClass, kSecMatchSubjectWholeString}, {kSecClassIdentity, number.get()}},
      {{kSecClass, kSecMatchLimit}, {kSecClassIdentity, name.get()}},
  };
  for (auto row : rows) {
    const auto query = CFRef<CFDictionaryRef>::adopt(
        CFDictionaryCreate(nullptr, row.keys.data(), row.values.data(), static_cast<CFIndex>(row.keys.size()),
                           nullptr, nullptr));
    CFTypeRef result = nullptr;
    EXPECT_EQ(SecItemCopyMatching(query.get(), &result), errSecParam);
    EXPECT_EQ(SecItemCopyMatching(query.get(), nullptr), errSecParam);
    EXPECT_EQ(result, nullptr);
  }
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

/** What an error says, with the random letters of a transform's name replaced by "NAME". */
std::string describe(CFErrorRef error) {
  if (error == nullptr) return "no error";
  const auto description = CFRef<CFStringRef>::adopt(CFErrorCopyDescription(error));
  std::string all = text(description.get());
  if (const auto position = all.find("-com.apple.security.");
      position != std::string::npos && position >= 9) {
    all.replace(position - 9, 9, "NAME");
  }
  return all;
}

const char* const kCouldNot =
    "The operation couldn’t be completed. (com.apple.security.transforms.error error ";

TEST(Contract, FailuresOfTransforms) {
  CFRef<CFErrorRef> error;
  EXPECT_EQ(SecTransformExecute(none<SecTransformRef>(), error.out()), nullptr);
  EXPECT_EQ(describe(error.get()), kCouldNot + std::string("21 - NULL transform can not be executed)"));
  error.reset();

  const auto nothing = string("zip");
  EXPECT_EQ(SecEncodeTransformCreate(nothing.get(), error.out()), nullptr);
  EXPECT_EQ(
      describe(error.get()),
      kCouldNot + std::string("10 - Unsupported encode type 'zip', supported types are kSecBase64Encoding, "
                              "kSecBase32Encoding, and kSecGZipEncoding)"));
  error.reset();

  const auto encoder = CFRef<SecTransformRef>::adopt(SecEncodeTransformCreate(kSecBase64Encoding, nullptr));
  EXPECT_EQ(SecTransformExecute(encoder.get(), error.out()), nullptr);
  EXPECT_TRUE(describe(error.get()).ends_with("missing required attributes: INPUT)"))
      << describe(error.get());
  EXPECT_EQ(CFErrorGetCode(error.get()), 14);
  error.reset();

  const auto underscore = string("_private");
  EXPECT_FALSE(SecTransformSetAttribute(encoder.get(), underscore.get(), kSecClass, error.out()));
  EXPECT_EQ(CFErrorGetCode(error.get()), 12);
  error.reset();

  const auto input = data("x");
  ASSERT_TRUE(SecTransformSetAttribute(encoder.get(), kSecTransformInputAttributeName, input.get(), nullptr));
  const auto output = CFRef<CFTypeRef>::adopt(SecTransformExecute(encoder.get(), nullptr));
  EXPECT_TRUE(output);
  EXPECT_EQ(SecTransformExecute(encoder.get(), error.out()), nullptr);
  EXPECT_EQ(CFErrorGetCode(error.get()), 16);
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
  EXPECT_EQ(describe(error.get()),
            kCouldNot + std::string("14 - Can not execute NAME-com.apple.security.Sign, missing required "
                                    "attributes: KEY)"));
}

}  // namespace
