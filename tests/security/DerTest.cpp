#include <Security/SecCertificateOIDs.h>
#include <gtest/gtest.h>
#include <cstdint>

#include "linux/frameworks/Security/CertificateProperties.h"
#include "linux/x509/DerText.h"
#include "security/CertificateFiles.h"

namespace security_test {
namespace {

using namespace vorn;
using namespace vorn::frameworks;
using ByteVector = std::vector<std::uint8_t>;

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
    EXPECT_FALSE(der::Reader(bytes).read()) << der::hexText(row);
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
  for (const auto& row : rows) EXPECT_EQ(der::displayText({row.tag, row.content, row.content}), row.text);
}

/** Everything that can be read from a certificate; whether it is one. */
bool readAll(const ByteVector& der) {
  const auto certificate = x509::readCertificate(der);
  if (!certificate) return false;
  for (const CFStringRef key : {kSecOIDX509V1IssuerName, kSecOIDX509V1SerialNumber})
    EXPECT_NE(certificateProperty(*certificate, utf8Of(key)), nullptr);
  for (const x509::Extension& extension : certificate->extensions)
    EXPECT_NE(certificateProperty(*certificate, der::objectIdentifierText(extension.oid)), nullptr);
  x509::emailAddresses(*certificate);
  x509::commonName(*certificate);
  return true;
}

TEST(Der, DamagedCertificatesAreReadOrRefused) {
  for (const char* file : {"full.der", "issued.der"}) {
    const ByteVector whole = readFile(file);
    ASSERT_TRUE(readAll(whole));
    for (std::size_t length = 0; length < whole.size(); ++length)
      EXPECT_FALSE(readAll(ByteVector(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))));
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
