#include "linux/x509/X509Certificate.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <utility>

#include "shared/text/Utf8.h"

namespace vorn::x509 {
namespace {

using der::kOptional;

constexpr std::uint8_t kRsaEncryption[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x01};
constexpr std::uint8_t kEmailAddressType[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x01};
constexpr std::uint8_t kCommonNameType[] = {0x55, 0x04, 0x03};
constexpr std::uint8_t kKeyUsageOid[] = {0x55, 0x1d, 0x0f};
constexpr std::uint8_t kAlternativeNameOid[] = {0x55, 0x1d, 0x11};
constexpr std::size_t kMaxSerialOctets = 37;
constexpr std::size_t kMaxObjectIdentifierOctets = 32;
constexpr std::size_t kMaxDecimalOctets = 8;
constexpr std::uint8_t kRfc822Name = der::contextTag(1, false);

/** The bits of a KeyUsage of up to two octets: bit n of the BIT STRING, counted from its front, becomes
 * 1 << n. */
std::optional<std::uint32_t> readKeyUsage(der::Bytes value) {
  const auto element = der::Reader(value).read(der::kBitString);
  const auto octets = element ? der::bitStringContent(element->content) : std::nullopt;
  if (!octets || octets->size() > 2) return std::nullopt;
  std::uint32_t usage = 0;
  const std::size_t bits = octets->size() * 8 - element->content[0];
  for (std::size_t bit = 0; bit < bits; ++bit) usage |= ((*octets)[bit / 8] >> (7 - bit % 8) & 1U) << bit;
  return usage;
}

/** Takes what is needed time and again out of an extension; false when the certificate is to be refused. */
bool interpret(const Extension& extension, bool isCritical, Certificate& certificate) {
  if (der::equal(extension.oid, kKeyUsageOid)) {
    const auto usage = readKeyUsage(extension.value);
    certificate.keyUsage = usage.value_or(0) | (isCritical ? kCriticalKeyUsage : 0);
    return usage || !isCritical;
  }
  if (der::equal(extension.oid, kAlternativeNameOid)) {
    const auto names = der::Reader(extension.value).read(der::kSequence);
    certificate.alternativeNames = names ? names->content : der::Bytes();
    return names || !isCritical;
  }
  return true;
}

bool readExtensions(der::Bytes content, Certificate& certificate) {
  const auto list = der::fields(content, {der::kSequence});
  const auto elements = list ? der::children(list->front().content, der::kSequence) : std::nullopt;
  if (!elements) return false;
  for (const der::Element& element : *elements) {
    const auto parts =
        der::fields(element.content, {der::kObjectIdentifier, kOptional | der::kBoolean, der::kOctetString});
    if (!parts) return false;
    const auto& [oid, critical, value] = *parts;
    const bool isCritical = critical.content.size() == 1 && critical.content[0] != 0;
    const Extension& extension = certificate.extensions.emplace_back(Extension{oid.content, value.content});
    if ((critical.tag != 0 && critical.content.size() != 1) || !interpret(extension, isCritical, certificate))
      return false;
  }
  return true;
}

bool readValidity(der::Bytes content, Certificate& certificate) {
  const auto times = der::fields(content, {der::kAny, der::kAny});
  const auto notBefore = times ? readTime((*times)[0]) : std::nullopt;
  const auto notAfter = times ? readTime((*times)[1]) : std::nullopt;
  certificate.notBefore = notBefore.value_or(0);
  certificate.notAfter = notAfter.value_or(0);
  return notBefore && notAfter;
}

bool readPublicKey(der::Bytes content, Certificate& certificate) {
  const auto parts = der::fields(content, {der::kSequence, der::kBitString});
  const auto oid = parts ? der::Reader((*parts)[0].content).read(der::kObjectIdentifier) : std::nullopt;
  const auto octets = parts ? der::bitStringContent((*parts)[1].content) : std::nullopt;
  if (!oid || !octets) return false;
  certificate.isRsa = der::equal(oid->content, kRsaEncryption);
  certificate.publicKey = *octets;
  return true;
}

/** Big-endian unless a byte order mark says otherwise. */
std::optional<std::string> utf16Text(der::Bytes bytes) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  const bool isLittleEndian = der::viewOf(bytes).starts_with("\xff\xfe");
  const std::size_t high = isLittleEndian ? 1 : 0;
  std::u16string units;
  for (std::size_t i = isLittleEndian || der::viewOf(bytes).starts_with("\xfe\xff") ? 2 : 0; i < bytes.size();
       i += 2)
    units.push_back(static_cast<char16_t>(bytes[i + high] << 8 | bytes[i + 1 - high]));
  return utf8FromUtf16(units);
}

std::string sizedHexText(const char* what, std::size_t size, const char* unit, der::Bytes bytes) {
  return what + ("; " + std::to_string(size)) + unit + "; data = " + hexText(bytes);
}

}  // namespace

std::optional<Certificate> readCertificate(der::Bytes bytes) {
  const auto file = der::fields(bytes, {der::kSequence});
  const auto whole =
      file ? der::fields(file->front().content, {der::kSequence, der::kSequence, der::kBitString})
           : std::nullopt;
  const auto parts =
      whole ? der::fields(
                  whole->front().content,
                  {kOptional | der::contextTag(0, true), der::kInteger, der::kSequence, der::kSequence,
                   der::kSequence, der::kSequence, der::kSequence, kOptional | der::contextTag(1, false),
                   kOptional | der::contextTag(2, false), kOptional | der::contextTag(3, true)})
            : std::nullopt;
  if (!parts) return std::nullopt;
  const auto& [version, serial, algorithm, issuer, validity, subject, key, issuerId, subjectId, extensions] =
      *parts;
  Certificate certificate;
  certificate.serial = serial.content;
  certificate.issuer = issuer.content;
  certificate.subject = subject.content;
  const bool isComplete = !serial.content.empty() && serial.content.size() <= kMaxSerialOctets &&
                          readValidity(validity.content, certificate) &&
                          readPublicKey(key.content, certificate) &&
                          (extensions.tag == 0 || readExtensions(extensions.content, certificate));
  return isComplete ? std::optional(std::move(certificate)) : std::nullopt;
}

std::optional<Name> readName(der::Bytes content) {
  const auto sets = der::children(content, der::kSet);
  if (!sets) return std::nullopt;
  Name name;
  for (const der::Element& set : *sets) {
    const auto attributes = der::children(set.content, der::kSequence);
    if (!attributes || attributes->empty()) return std::nullopt;
    auto& relative = name.emplace_back();
    for (const der::Element& attribute : *attributes) {
      const auto parts = der::fields(attribute.content, {der::kObjectIdentifier, der::kAny});
      if (!parts) return std::nullopt;
      relative.push_back({(*parts)[0].content, (*parts)[1]});
    }
  }
  return name;
}

std::optional<std::string> commonName(der::Bytes name) {
  std::optional<std::string> last;
  for (const auto& relative : readName(name).value_or(Name()))
    for (const Attribute& attribute : relative)
      if (der::equal(attribute.type, kCommonNameType)) last = decodedText(attribute.value);
  return last;
}

std::vector<std::string> emailAddresses(const Certificate& certificate) {
  const auto names = der::children(certificate.alternativeNames);
  const auto subject = readName(certificate.subject);
  if (!names || !subject) return {};
  std::vector<std::string> addresses;
  for (const der::Element& name : *names)
    if (name.tag == kRfc822Name) addresses.push_back(utf8FromLatin1(der::viewOf(name.content)));
  for (const auto& relative : *subject)
    for (const Attribute& attribute : relative)
      if (der::equal(attribute.type, kEmailAddressType)) addresses.push_back(displayText(attribute.value));
  return addresses;
}

std::optional<double> readTime(const der::Element& time) {
  using namespace std::chrono;
  const bool isShort = time.tag == der::kUtcTime;
  std::string digits(der::viewOf(time.content));
  const std::size_t end = digits.find_first_of("Z+-");
  if ((!isShort && time.tag != der::kGeneralizedTime) || end == std::string::npos) return std::nullopt;
  std::string zone = digits.substr(end);
  digits.resize(end);
  if (isShort && end == 10 && zone == "Z") digits += "00";
  if (isShort) digits.insert(0, digits < "50" ? "20" : "19");
  if (zone == "Z") zone = "+0000";
  if (digits.size() != 14 || zone.size() != 5 || zone[0] == 'Z') return std::nullopt;
  digits += zone.substr(1);
  if (digits.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  const auto pairAt = [&digits](std::size_t at) { return (digits[at] - '0') * 10 + (digits[at + 1] - '0'); };
  const auto date = year(pairAt(0) * 100 + pairAt(2)) / pairAt(4) / pairAt(6);
  const int hour = pairAt(8), minute = pairAt(10), second = pairAt(12);
  const int hours = pairAt(14), minutes = pairAt(16);
  if (!date.ok() || hour > 23 || minute > 59 || second > 60 || hours > 23 || minutes > 59)
    return std::nullopt;
  const auto days = sys_days(date) - sys_days(2001y / January / 1);
  const int offset = hours * 3600 + minutes * 60;
  const bool hasNoCentury = isShort && date.year() >= 1950y && date.year() < 1970y;
  if (hasNoCentury) return 0;
  return static_cast<double>(days.count()) * 86400.0 + hour * 3600 + minute * 60 + second -
         (zone[0] == '+' ? offset : -offset);
}

std::string objectIdentifierText(der::Bytes content) {
  if (content.empty()) return "<NULL>";
  if (content.size() > kMaxObjectIdentifierOctets) return "OID too long";
  constexpr unsigned kArcsPerRoot = 40;
  constexpr unsigned kLastRoot = 2;
  const unsigned root = std::min(content[0] / kArcsPerRoot, kLastRoot);
  std::string text = std::to_string(root) + '.' + std::to_string(content[0] - root * kArcsPerRoot);
  std::uint32_t arc = 0;
  for (std::uint8_t octet : content.subspan(1)) {
    arc = arc << 7 | (octet & 0x7f);
    if ((octet & 0x80) == 0) text += '.' + std::to_string(std::exchange(arc, 0));
  }
  return text;
}

std::string integerText(der::Bytes content) {
  if (content.size() > kMaxDecimalOctets) return hexText(content);
  std::uint64_t value = 0;
  for (std::uint8_t octet : content) value = value << 8 | octet;
  return std::to_string(value);
}

std::string hexText(der::Bytes bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size() * 3);
  for (std::uint8_t octet : bytes) {
    if (!text.empty()) text += ' ';
    text += kDigits[octet >> 4];
    text += kDigits[octet & 0x0f];
  }
  return text;
}

std::optional<std::string> decodedText(const der::Element& value) {
  const der::Bytes content = value.content;
  std::string_view text = der::viewOf(content);
  if (text.ends_with('\0')) text.remove_suffix(1);
  switch (value.tag) {
    case der::kPrintableString:
    case der::kIa5String:
    case der::kT61String:
    case der::kVideotexString:
    case der::kVisibleString:
      return utf8FromLatin1(text);
    case der::kUtf8String:
    case der::kGeneralString:
    case der::kUniversalString:
      return isValidUtf8(text) ? std::optional<std::string>(text) : std::nullopt;
    case der::kBmpString:
      return utf16Text(content);
    case der::kInteger:
    case der::kBoolean:
      return integerText(content);
    case der::kObjectIdentifier:
      return objectIdentifierText(content);
    case der::kOctetString:
      return sizedHexText("Byte string", content.size(), " bytes", content);
    case der::kBitString: {
      const auto octets = der::bitStringContent(content);
      const std::size_t bits = octets ? octets->size() * 8 - content[0] : content.size() * 8;
      return sizedHexText("Bit string", bits, " bits", octets.value_or(content));
    }
    case der::kSequence:
      return sizedHexText("Sequence", content.size(), " bytes", content);
    case der::kSet:
      return sizedHexText("Set", content.size(), " bytes", content);
    default:
      return "not displayed (tag = " + std::to_string(value.tag) + "; length " +
             std::to_string(content.size()) + ")";
  }
}

std::string displayText(const der::Element& value) {
  return decodedText(value).value_or(hexText(value.content));
}

}  // namespace vorn::x509
