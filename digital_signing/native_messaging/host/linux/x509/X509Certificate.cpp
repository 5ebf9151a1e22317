#include "linux/x509/X509Certificate.h"

#include <chrono>
#include <cstdint>

#include "linux/x509/DerText.h"

namespace vorn::x509 {
namespace {

constexpr std::uint8_t kRsaEncryption[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x01};
constexpr std::uint8_t kKeyUsageOid[] = {0x55, 0x1d, 0x0f};
constexpr std::uint8_t kAlternativeNameOid[] = {0x55, 0x1d, 0x11};
constexpr std::size_t kMaxSerialOctets = 37;
constexpr std::uint8_t kRfc822Name = der::contextTag(1, false);

/** The bits of a KeyUsage of up to two octets: bit n of the BIT STRING, counted from its front, becomes
 * 1 << n. */
std::optional<std::uint32_t> readKeyUsage(der::Bytes value) {
  const auto element = der::Reader(value).read(der::kBitString);
  const auto octets = element ? der::bitStringContent(element->content) : std::nullopt;
  if (!octets || octets->size() > 2) return std::nullopt;
  std::uint32_t usage = 0;
  const std::size_t bits = octets->size() * 8 - element->content[0];
  for (std::size_t bit = 0; bit < bits; ++bit) {
    const bool set = ((*octets)[bit / 8] >> (7 - bit % 8) & 1) != 0;
    usage |= static_cast<std::uint32_t>(set) << bit;
  }
  return usage;
}

std::optional<Extension> readExtension(der::Bytes content) {
  der::Reader reader(content);
  const auto oid = reader.read(der::kObjectIdentifier);
  const auto critical = reader.read(der::kBoolean);
  const auto value = reader.read(der::kOctetString);
  if (!oid || !value || !reader.atEnd() || (critical && critical->content.size() != 1)) return std::nullopt;
  return Extension{oid->content, critical && critical->content[0] != 0, value->content};
}

/** Takes what is needed time and again out of an extension; false when the certificate is to be refused. */
bool interpret(const Extension& extension, Certificate& certificate) {
  if (der::equal(extension.oid, kKeyUsageOid)) {
    const auto usage = readKeyUsage(extension.value);
    certificate.keyUsage = usage.value_or(0) | (extension.critical ? kCriticalKeyUsage : 0);
    return usage || !extension.critical;
  }
  if (der::equal(extension.oid, kAlternativeNameOid)) {
    const auto names = der::Reader(extension.value).read(der::kSequence);
    certificate.alternativeNames = names ? names->content : der::Bytes();
    return names || !extension.critical;
  }
  return true;
}

bool readExtensions(der::Bytes content, Certificate& certificate) {
  der::Reader outer(content);
  const auto list = outer.read(der::kSequence);
  const auto elements = list ? der::children(list->content) : std::nullopt;
  if (!elements || !outer.atEnd()) return false;
  for (const der::Element& element : *elements) {
    const auto extension = element.tag == der::kSequence ? readExtension(element.content) : std::nullopt;
    if (!extension || !interpret(*extension, certificate)) return false;
    certificate.extensions.push_back(*extension);
  }
  return true;
}

bool readValidity(der::Bytes content, Certificate& certificate) {
  der::Reader reader(content);
  const auto from = reader.read();
  const auto until = reader.read();
  const auto notBefore = from ? readTime(*from) : std::nullopt;
  const auto notAfter = until ? readTime(*until) : std::nullopt;
  certificate.notBefore = notBefore.value_or(0);
  certificate.notAfter = notAfter.value_or(0);
  return notBefore && notAfter && reader.atEnd();
}

bool readPublicKey(const der::Element& info, Certificate& certificate) {
  der::Reader reader(info.content);
  const auto algorithm = reader.read(der::kSequence);
  const auto key = reader.read(der::kBitString);
  const auto oid = algorithm ? der::Reader(algorithm->content).read(der::kObjectIdentifier) : std::nullopt;
  const auto octets = key ? der::bitStringContent(key->content) : std::nullopt;
  if (!oid || !octets || !reader.atEnd()) return false;
  certificate.isRsa = der::equal(oid->content, kRsaEncryption);
  certificate.publicKey = *octets;
  return true;
}

/** The elements of a TBSCertificate one after the other; those that this layer shows nothing of
 * are stepped over. */
bool readToBeSigned(der::Bytes content, Certificate& certificate) {
  der::Reader reader(content);
  reader.read(der::contextTag(0, true));
  const auto serial = reader.read(der::kInteger);
  const auto signatureAlgorithm = reader.read(der::kSequence);
  const auto issuer = reader.read(der::kSequence);
  const auto validity = reader.read(der::kSequence);
  const auto subject = reader.read(der::kSequence);
  const auto publicKeyInfo = reader.read(der::kSequence);
  reader.read(der::contextTag(1, false));
  reader.read(der::contextTag(2, false));
  const auto extensions = reader.read(der::contextTag(3, true));
  if (!serial || !signatureAlgorithm || !issuer || !validity || !subject || !publicKeyInfo || !reader.atEnd())
    return false;
  certificate.serial = serial->content;
  certificate.issuer = issuer->content;
  certificate.subject = subject->content;
  return !serial->content.empty() && serial->content.size() <= kMaxSerialOctets &&
         readValidity(validity->content, certificate) && readPublicKey(*publicKeyInfo, certificate) &&
         (!extensions || readExtensions(extensions->content, certificate));
}

}  // namespace

std::optional<Certificate> readCertificate(der::Bytes bytes) {
  der::Reader file(bytes);
  const auto outer = file.read(der::kSequence);
  if (!outer || !file.atEnd()) return std::nullopt;
  der::Reader reader(outer->content);
  const auto toBeSigned = reader.read(der::kSequence);
  const auto algorithm = reader.read(der::kSequence);
  const auto signature = reader.read(der::kBitString);
  Certificate certificate;
  const bool complete = toBeSigned && algorithm && signature && reader.atEnd() &&
                        readToBeSigned(toBeSigned->content, certificate);
  return complete ? std::optional(std::move(certificate)) : std::nullopt;
}

std::vector<std::string> emailAddresses(const Certificate& certificate) {
  const auto names = der::children(certificate.alternativeNames);
  const auto subject = readName(certificate.subject);
  if (!names || !subject) return {};
  std::vector<std::string> addresses;
  for (const der::Element& name : *names)
    if (name.tag == kRfc822Name) addresses.push_back(der::latin1Text(name.content));
  for (std::string& address : attributeTexts(*subject, kEmailAddressType))
    addresses.push_back(std::move(address));
  return addresses;
}

std::optional<std::string> commonName(const Certificate& certificate) {
  const auto subject = readName(certificate.subject);
  return subject ? lastCommonName(*subject) : std::nullopt;
}

namespace {

/** Takes decimal numbers of a fixed width from the front of a text. */
class Digits {
 public:
  explicit Digits(der::Bytes text) : rest_(text) {}

  bool failed() const { return failed_; }
  der::Bytes rest() const { return rest_; }

  int take(std::size_t width) {
    int value = 0;
    if (rest_.size() < width) {
      failed_ = true;
      return 0;
    }
    for (std::uint8_t character : rest_.first(width)) {
      failed_ = failed_ || character < '0' || character > '9';
      value = value * 10 + (character - '0');
    }
    rest_ = rest_.subspan(width);
    return failed_ ? 0 : value;
  }

 private:
  der::Bytes rest_;
  bool failed_ = false;
};

/** What the zone at a time's end adds to UTC, in seconds; none when it is neither Z nor a numeric offset. */
std::optional<int> readZone(der::Bytes text) {
  if (text.size() == 1 && text[0] == 'Z') return 0;
  if (text.size() != 5 || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  Digits digits(text.subspan(1));
  const int hours = digits.take(2);
  const int minutes = digits.take(2);
  const int seconds = hours * 3600 + minutes * 60;
  return digits.failed() || hours > 23 || minutes > 59 ? std::nullopt
                                                       : std::optional(text[0] == '+' ? seconds : -seconds);
}

std::optional<double> secondsSince2001(int yearNumber, Digits digits, bool hasSeconds) {
  using namespace std::chrono;
  const int monthNumber = digits.take(2);
  const int dayNumber = digits.take(2);
  const auto date = year(yearNumber) / monthNumber / dayNumber;
  const int hour = digits.take(2);
  const int minute = digits.take(2);
  const int second = hasSeconds ? digits.take(2) : 0;
  const auto zone = readZone(digits.rest());
  if (digits.failed() || !zone || !date.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
  const auto days = sys_days(date) - sys_days(2001y / January / 1);
  return static_cast<double>(days.count()) * 86400.0 + hour * 3600 + minute * 60 + second - *zone;
}

std::optional<double> readUtcTime(der::Bytes text) {
  constexpr std::size_t kLengthWithoutSeconds = 11;
  const bool hasSeconds = text.size() != kLengthWithoutSeconds;
  Digits digits(text);
  const int year = digits.take(2);
  const auto seconds = secondsSince2001(year < 50 ? 2000 + year : 1900 + year, digits, hasSeconds);
  const bool hasNoCentury = year >= 50 && year < 70;
  return seconds && hasNoCentury ? 0.0 : seconds;
}

}  // namespace

std::optional<double> readTime(const der::Element& time) {
  if (time.tag == der::kUtcTime) return readUtcTime(time.content);
  if (time.tag == der::kGeneralizedTime) {
    Digits digits(time.content);
    const int year = digits.take(4);
    return digits.failed() ? std::nullopt : secondsSince2001(year, digits, true);
  }
  return std::nullopt;
}

}  // namespace vorn::x509
