#include <Security/Security.h>
#include <gtest/gtest.h>
#include <cstdint>

#include "security/CertificateFiles.h"

namespace security_test {
namespace {

using namespace vorn;
using namespace vorn::frameworks;
using ByteVector = std::vector<std::uint8_t>;

/** Properties as a line: type or label, then value; arrays in brackets. */
std::string render(CFTypeRef object) {
  if (const auto* string = objectCast<String>(object)) return std::string(string->utf8());
  if (const auto* data = objectCast<Data>(object)) return x509::hexText(data->value);
  if (const auto* number = objectCast<Number>(object))
    return std::to_string(std::get<std::int64_t>(number->value));
  std::string text;
  if (const auto* array = objectCast<Array>(object)) {
    for (const auto& element : array->value) text += (text.empty() ? "" : ", ") + render(element.get());
    return "[" + text + "]";
  }
  const auto* dictionary = objectCast<Dictionary>(object);
  if (dictionary == nullptr) return "absent";
  for (const auto& [key, value] : dictionary->pairs()) text += (text.empty() ? "" : " ") + render(value);
  return text;
}

std::string propertyText(SecCertificateRef certificate, const std::string& key) {
  if (certificate == nullptr) return "no certificate";
  const auto name = CFRef<CFStringRef>::adopt(handOver<CFStringRef>(makeString(key)));
  const void* wanted[] = {name.get()};
  const auto keys = CFRef<CFArrayRef>::adopt(CFArrayCreate(nullptr, wanted, 1, &kCFTypeArrayCallBacks));
  const auto values =
      CFRef<CFDictionaryRef>::adopt(SecCertificateCopyValues(certificate, keys.get(), nullptr));
  return values ? render(CFDictionaryGetValue(values.get(), name.get())) : "no values";
}

constexpr char kSerial[] = "2.16.840.1.113741.2.1.1.1.3";
constexpr char kIssuer[] = "2.16.840.1.113741.2.1.1.1.5";
constexpr char kUsage[] = "2.5.29.15";
constexpr char kAki[] = "2.5.29.35";
constexpr char kAbn[] = "1.2.36.1.333.1";

TEST(Properties, OfCertificates) {
  const auto zeros = [](int count) {
    std::string text;
    while (count-- > 0) text += " 00";
    return text;
  };
  const struct {
    const char *file, *key;
    std::string expected;
  } rows[] = {
      {"bare", kSerial, "string 255"},
      {"issued", kSerial, "string 1"},
      {"full", kSerial, "string 1920354224474384430"},
      {"serial9", kSerial, "string 00 FF FF FF FF FF FF FF FF"},
      {"serial20", kSerial, "string 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14"},

      {"serial37", kSerial, "string 7F" + zeros(35) + " 25"},
      {"serial38", kSerial, "no certificate"},
      {"cut", kAbn, "section [data 30 06 0C 01 78 0C 05 79]"},
      {"cut", kAki, "section [data FF, data 30 06 80 01 FF 82 01 07]"},

      {"full", kUsage, "number -2147483645"},
      {"serial9", kUsage, "number 257"},
      {"serial20", kUsage, "number 4"},
      {"bare", kUsage, "number 0"},

      {"full", kAbn, "section [data 13 0B 31 32 33 34 35 36 37 38 39 30 31]"},
      {"serial9", kAbn, "section [data 0C 0B 31 32 33 34 35 36 37 38 39 30 31]"},
      {"serial20", kAbn, "section []"},
      {"issued", kAbn, "section [data 30 03 02 01 01]"},
      {"bare", kAbn, "absent"},

      {"full", kAki, "section [data 0A 1B 2C 3D]"},
      {"serial9", kAki, "section []"},
      {"serial20", kAki, "section [data 30 03 81 01 00]"},
      {"issued", kAki, "section [data FF]"},
      {"bare", kAki, "absent"},

      {"full", kIssuer,
       "section [2.5.4.6 AU, 2.5.4.3 First Name, 2.5.4.3 Jane Citizen, "
       "1.2.840.113549.1.9.1 Jane@Example.com]"},
      {"bare", kIssuer, "section [2.5.4.10 No Name]"},
      {"utf8", kIssuer, "section [2.5.4.3 Zoë Ωmega 🖋]"},
      {"bmp", kIssuer, "section [2.5.4.3 Zoë Ωmega]"},
      {"t61", kIssuer, "section [2.5.4.3 Zoë]"},
      {"full", "9.9.9", "absent"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(propertyText(certificateOf(readFile(std::string(row.file) + ".der")).get(), row.key),
              row.expected)
        << row.file << ' ' << row.key;
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
  for (const char* file : {"full.der", "ec.der"}) {
    const auto certificate = certificateOf(readFile(file));
    CFRef<SecKeyRef> key;
    ASSERT_EQ(SecCertificateCopyPublicKey(certificate.get(), key.out()), errSecSuccess);
    const CSSM_KEY* description = nullptr;
    if (file == std::string("ec.der")) {
      EXPECT_EQ(SecKeyGetCSSMKey(key.get(), &description), errSecInvalidItemRef);
      continue;
    }
    ASSERT_EQ(SecKeyGetCSSMKey(key.get(), &description), errSecSuccess);
    const der::Bytes bytes(description->KeyData.Data, description->KeyData.Length);
    EXPECT_TRUE(der::equal(bytes, readFile("key.rsa.der")));
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
    EXPECT_EQ(x509::readTime({row.tag, bytes}), row.expected) << row.text;
  }
}

TEST(Der, RefusesWhatIsNoDefiniteMinimalElement) {
  const ByteVector rows[] = {
      // clang-format off
      {}, {0x30}, {0x30, 0x80, 0x00, 0x00}, {0x30, 0x01}, {0x30, 0x81, 0x01, 0x00}, {0x30, 0x82, 0x00, 0x80}, {0x30, 0xff},
      {0x30, 0x84, 0xff, 0xff, 0xff, 0xff, 0x00}, {0x30, 0x88, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff},
      {0x1f, 0x81, 0x01, 0x00},
      // clang-format on
  };
  for (const ByteVector& row : rows) {
    // A copy of the exact size, so that a sanitizer sees a read beyond it.
    const ByteVector bytes(row);
    EXPECT_FALSE(der::Reader(bytes).read()) << x509::hexText(row);
  }
  const ByteVector two{0x02, 0x01, 0x07, 0x04, 0x00};
  der::Reader reader(two);
  EXPECT_FALSE(reader.read(der::kOctetString));
  EXPECT_EQ(reader.read(der::kInteger)->content[0], 7);
  EXPECT_TRUE(reader.read(der::kOctetString)->content.empty());
  EXPECT_TRUE(reader.atEnd());
}

TEST(Der, Texts) {
  const struct {
    std::uint8_t tag;
    ByteVector content;
    const char* text;
  } rows[] = {
      {der::kPrintableString, {'a', 0xe9, 0}, "aé"},
      {der::kUtf8String, {0xc3, 0xa9, 0}, "é"},
      {der::kUtf8String, {0xe9, 'a'}, "E9 61"},
      {der::kUtf8String, {0xc0, 0x80}, "C0 80"},
      {der::kUtf8String, {0xed, 0xa0, 0x80}, "ED A0 80"},
      {der::kUtf8String, {0xf4, 0x90, 0x80, 0x80}, "F4 90 80 80"},
      {der::kBmpString, {0xfe, 0xff, 0, 'a'}, "a"},
      {der::kBmpString, {0xff, 0xfe, 'a', 0}, "a"},
      {der::kBmpString, {0xd8, 0x3d, 0xdd, 0x8b}, "🖋"},
      {der::kBmpString, {0xd8, 0x3d}, "D8 3D"},
      {der::kBmpString, {0}, "00"},
      {der::kInteger, {0xff}, "255"},
      {der::kObjectIdentifier, {0x2a, 0x86, 0x48}, "1.2.840"},
      {der::kObjectIdentifier, {0x88, 0x37}, "2.56.55"},
      {der::kObjectIdentifier, {}, "<NULL>"},
      {der::kObjectIdentifier, ByteVector(33, 1), "OID too long"},
      {der::kBitString, {4, 0xf0}, "Bit string; 4 bits; data = F0"},
      {der::kNumericString, {'1'}, "not displayed (tag = 18; length 1)"},
      {der::kUtf8String, {}, ""},
  };
  for (const auto& row : rows) EXPECT_EQ(x509::displayText({row.tag, row.content}), row.text);
}

/** Everything that can be read from a certificate; whether it is one. */
bool readAll(const ByteVector& der) {
  const auto fields = x509::readCertificate(der);
  const auto certificate = certificateOf(der);
  EXPECT_EQ(fields.has_value(), static_cast<bool>(certificate));
  if (!fields) return false;
  for (const char* key : {kIssuer, kSerial}) EXPECT_NE(propertyText(certificate.get(), key), "absent");
  for (const x509::Extension& extension : fields->extensions)
    EXPECT_NE(propertyText(certificate.get(), x509::objectIdentifierText(extension.oid)), "absent");
  x509::emailAddresses(*fields);
  x509::commonName(fields->subject);
  return true;
}

TEST(Der, DamagedCertificatesAreReadOrRefused) {
  for (const char* file : {"full.der", "issued.der"}) {
    const ByteVector whole = readFile(file);
    ASSERT_TRUE(readAll(whole));
    for (std::size_t length = 0; length < whole.size(); ++length)
      EXPECT_FALSE(readAll(ByteVector(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))));
    ByteVector longer(whole);
    longer.push_back(0);
    EXPECT_FALSE(readAll(longer));
    std::size_t refused = 0;
    for (std::size_t position = 0; position < whole.size(); ++position) {
      for (const std::uint8_t change : ByteVector{0x01, 0x20, 0x7f, 0x80, 0xff}) {
        ByteVector damaged(whole);
        damaged[position] = static_cast<std::uint8_t>(damaged[position] ^ change);
        refused += readAll(damaged) ? 0U : 1U;
      }
    }
    EXPECT_GT(refused, 100U);
  }
}

}  // namespace
}  // namespace security_test
