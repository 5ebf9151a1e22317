#include <Security/SecCertificateOIDs.h>
#include <Security/Security.h>
#include <gtest/gtest.h>

#include "linux/frameworks/Security/CertificateProperties.h"
#include "linux/frameworks/Security/DerText.h"
#include "linux/frameworks/Security/X509Time.h"
#include "security/CertificateFiles.h"

namespace security_test {
namespace {

using namespace vorn::frameworks;

/** Properties as a line: type "label" = value, arrays in brackets. */
std::string render(CFTypeRef object) {
  if (const auto* string = objectCast<String>(object)) return utf8Of(asRef<CFStringRef>(string));
  if (const auto* data = objectCast<Data>(object)) {
    return der::hexText(data->bytes());
  }
  if (const auto* number = objectCast<Number>(object)) {
    std::int64_t value = 0;
    CFNumberGetValue(asRef<CFNumberRef>(number), kCFNumberSInt64Type, &value);
    return std::to_string(value);
  }
  std::string text;
  if (const auto* array = objectCast<Array>(object)) {
    for (const void* element : array->elements()) text += (text.empty() ? "" : ", ") + render(element);
    return "[" + text + "]";
  }
  const auto* dictionary = objectCast<Dictionary>(object);
  if (dictionary == nullptr) return "absent";
  const auto valueOf = [&](CFStringRef key) {
    return CFDictionaryGetValue(asRef<CFDictionaryRef>(dictionary), key);
  };
  const CFTypeRef label = valueOf(kSecPropertyKeyLabel);
  EXPECT_EQ(render(label), render(valueOf(kSecPropertyKeyLocalizedLabel)));
  return render(valueOf(kSecPropertyKeyType)) + (label != nullptr ? " '" + render(label) + "' " : " ") +
         render(valueOf(kSecPropertyKeyValue));
}

std::string propertyText(const std::string& file, const char* key) {
  const auto certificate = certificateOf(readFile(file + ".der"));
  const auto name = CFRef<CFStringRef>::adopt(CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8));
  const void* wanted[] = {name.get()};
  const auto keys = CFRef<CFArrayRef>::adopt(CFArrayCreate(nullptr, wanted, 1, &kCFTypeArrayCallBacks));
  const auto values =
      CFRef<CFDictionaryRef>::adopt(SecCertificateCopyValues(certificate.get(), keys.get(), nullptr));
  return values ? render(CFDictionaryGetValue(values.get(), name.get())) : "no values";
}

constexpr char kSerial[] = "2.16.840.1.113741.2.1.1.1.3";
constexpr char kIssuer[] = "2.16.840.1.113741.2.1.1.1.5";
constexpr char kUsage[] = "2.5.29.15";
constexpr char kAki[] = "2.5.29.35";
constexpr char kAbn[] = "1.2.36.1.333.1";

TEST(Properties, OfCertificates) {
  const struct {
    const char *file, *key, *expected;
  } rows[] = {
      {"bare", kSerial, "string 'Serial Number' 255"},
      {"issued", kSerial, "string 'Serial Number' 1"},
      {"full", kSerial, "string 'Serial Number' 1920354224474384430"},
      {"serial9", kSerial, "string 'Serial Number' 00 FF FF FF FF FF FF FF FF"},
      {"serial20", kSerial,
       "string 'Serial Number' 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14"},

      {"full", kUsage, "number 'Key Usage' -2147483645"},
      {"serial9", kUsage, "number 'Key Usage' 257"},
      {"serial20", kUsage, "number 'Key Usage' 4"},
      {"bare", kUsage, "number 'Key Usage' 0"},

      {"full", kAbn,
       "section '1.2.36.1.333.1' [string 'Critical' No, "
       "data 'Unparsed Data' 13 0B 31 32 33 34 35 36 37 38 39 30 31]"},
      {"serial9", kAbn,
       "section '1.2.36.1.333.1' [string 'Critical' No, "
       "data 'Unparsed Data' 0C 0B 31 32 33 34 35 36 37 38 39 30 31]"},
      {"serial20", kAbn,
       "section '1.2.36.1.333.1' [string 'Critical' No, string 'Data' 12345678901, string 'Data' second]"},
      {"issued", kAbn,
       "section '1.2.36.1.333.1' [string 'Critical' Yes, data 'Unparsed Data' 30 03 02 01 01]"},
      {"bare", kAbn, "absent"},

      {"full", kAki, "section '2.5.29.35' [string 'Critical' No, data 'Key Identifier' 0A 1B 2C 3D]"},
      {"serial9", kAki, "section '2.5.29.35' [string 'Critical' No]"},
      {"serial20", kAki,
       "section '2.5.29.35' [string 'Critical' No, data 'Invalid Authority Key Identifier' 30 03 81 01 00]"},
      {"issued", kAki,
       "section '2.5.29.35' [string 'Critical' No, data 'Key Identifier' FF, "
       "section 'Directory Name' [string '2.5.4.3' CA], string 'IP Address' 10.0.0.1, "
       "string 'Registered ID' 1.2, string 'Authority Certificate Serial Number' 7]"},
      {"bare", kAki, "absent"},

      {"full", kIssuer,
       "section 'Issuer Name' [string '2.5.4.6' AU, "
       "section [string '2.5.4.10' Example, string '2.5.4.11' Signing], string '2.5.4.3' First Name, "
       "string '2.5.4.3' Jane Citizen, string '1.2.840.113549.1.9.1' Jane@Example.com]"},
      {"bare", kIssuer, "section 'Issuer Name' [string '2.5.4.10' No Name]"},
      {"utf8", kIssuer, "section 'Issuer Name' [string '2.5.4.3' Zoë Ωmega 🖋]"},
      {"bmp", kIssuer, "section 'Issuer Name' [string '2.5.4.3' Zoë Ωmega]"},
      {"t61", kIssuer, "section 'Issuer Name' [string '2.5.4.3' Zoë]"},
      {"full", "9.9.9", "absent"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(propertyText(row.file, row.key), row.expected) << row.file << ' ' << row.key;
  }
}

TEST(Properties, AllOfThemWhenNoKeysAreGivenAndNoneForWrongOnes) {
  const auto certificate = certificateOf(readFile("full.der"));
  const auto all =
      CFRef<CFDictionaryRef>::adopt(SecCertificateCopyValues(certificate.get(), nullptr, nullptr));
  const auto der = readFile("full.der");
  const std::size_t extensions = x509::readCertificate(der)->extensions.size();
  // Key usage is one of the five that are always there.
  EXPECT_EQ(CFDictionaryGetCount(all.get()), static_cast<CFIndex>(5 + extensions - 1));

  const void* wrong[] = {kSecOIDKeyUsage, certificate.get()};
  const auto keys = CFRef<CFArrayRef>::adopt(CFArrayCreate(nullptr, wrong, 2, &kCFTypeArrayCallBacks));
  EXPECT_EQ(SecCertificateCopyValues(certificate.get(), keys.get(), nullptr), nullptr);
}

TEST(Properties, EmailAddresses) {
  const struct {
    const char *file, *expected;
  } rows[] = {
      {"full", "[jane@example.com, Second@example.com, Jane@Example.com]"},
      {"emailonly", "[a@b.c, a@b.c]"},
      {"serial20", "[]"},    // the alternative name is no sequence, and the subject has none
      {"broken-san", "[]"},  // a malformed name in it drops the subject's address, too
      {"bare", "[]"},
  };
  for (const auto& row : rows) {
    const auto certificate = certificateOf(readFile(std::string(row.file) + ".der"));
    CFRef<CFArrayRef> emails;
    ASSERT_EQ(SecCertificateCopyEmailAddresses(certificate.get(), emails.out()), errSecSuccess);
    EXPECT_EQ(render(emails.get()), row.expected) << row.file;
  }
}

TEST(Properties, CommonNameIsTheLastOne) {
  const struct {
    const char* file;
    const char* expected;
    OSStatus status;
  } rows[] = {{"full.der", "Jane Citizen", errSecSuccess},
              {"bmp.der", "Zoë Ωmega", errSecSuccess},
              {"bare.der", "", errSecInternal}};
  for (const auto& row : rows) {
    const auto der = readFile(row.file);
    EXPECT_EQ(x509::commonName(*x509::readCertificate(der)).value_or(""), row.expected);
    const auto data =
        CFRef<CFDataRef>::adopt(CFDataCreate(nullptr, der.data(), static_cast<CFIndex>(der.size())));
    const auto certificate =
        CFRef<SecCertificateRef>::adopt(SecCertificateCreateWithData(nullptr, data.get()));
    ASSERT_TRUE(certificate);
    CFRef<CFStringRef> name;
    EXPECT_EQ(SecCertificateCopyCommonName(certificate.get(), name.out()), row.status);
    EXPECT_EQ(utf8Of(name.get()), row.expected);
  }
}

TEST(Properties, ExpiryBeyond2050) {
  const auto der = readFile("far.der");
  const auto certificate = x509::readCertificate(der);
  EXPECT_EQ(certificate->notAfter - certificate->notBefore, 20000 * 86400.0);
}

TEST(Properties, PublicKeys) {
  const struct {
    const char* file;
    const char* keyData;
    CSSM_KEYBLOB_FORMAT format;
    std::uint32_t bits;
  } rows[] = {{"full.der", "key.rsa.der", CSSM_KEYBLOB_RAW_FORMAT_PKCS1, 2048},
              {"ec.der", "ec-key.pub.der", CSSM_KEYBLOB_RAW_FORMAT_X509, 0}};
  for (const auto& row : rows) {
    const auto certificate = certificateOf(readFile(row.file));
    CFRef<SecKeyRef> key;
    ASSERT_EQ(SecCertificateCopyPublicKey(certificate.get(), key.out()), errSecSuccess);
    const CSSM_KEY* description = nullptr;
    ASSERT_EQ(SecKeyGetCSSMKey(key.get(), &description), errSecSuccess);
    EXPECT_EQ(description->KeyHeader.Format, row.format);
    EXPECT_EQ(description->KeyHeader.LogicalKeySizeInBits, row.bits);
    const der::Bytes bytes(description->KeyData.Data, description->KeyData.Length);
    EXPECT_TRUE(der::equal(bytes, readFile(row.keyData))) << row.file;
  }
}

TEST(Properties, Times) {
  const struct {
    std::uint8_t tag;
    const char* text;
    std::optional<double> expected;
  } rows[] = {
      {der::kUtcTime, "010101000000Z", 0},
      {der::kUtcTime, "0101010001Z", 60},
      {der::kUtcTime, "010101000000+0100", -3600},
      {der::kUtcTime, "010101000060Z", 60},
      {der::kUtcTime, "700101000000Z", -978307200},
      {der::kUtcTime, "491231235959Z", 1546300799},
      {der::kUtcTime, "500101000000Z", 0},
      {der::kUtcTime, "691231235959Z", 0},
      {der::kUtcTime, "010229000000Z", std::nullopt},
      {der::kUtcTime, "01010100000Z", std::nullopt},
      {der::kUtcTime, "0x0101000000Z", std::nullopt},
      {der::kUtcTime, "010101240000Z", std::nullopt},
      {der::kUtcTime, "0101010000", std::nullopt},
      {der::kGeneralizedTime, "20500101000000Z", 1546300800},
      {der::kGeneralizedTime, "20010101000000-0030", 1800},
      {der::kGeneralizedTime, "20500101000000.5Z", std::nullopt},
      {der::kGeneralizedTime, "", std::nullopt},
      {der::kIa5String, "010101000000Z", std::nullopt},
  };
  for (const auto& row : rows) {
    const std::string text = row.text;
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    EXPECT_EQ(x509::readTime({row.tag, bytes, bytes}), row.expected) << row.text;
  }
}

}  // namespace
}  // namespace security_test
