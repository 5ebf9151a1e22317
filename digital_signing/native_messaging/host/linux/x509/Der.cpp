#include "linux/x509/Der.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "shared/text/Utf8.h"

namespace vorn::der {
namespace {

constexpr std::uint8_t kTagNumberMask = 0x1f;
constexpr std::uint8_t kLongForm = 0x80;
/** A certificate of 4 GiB is none: longer length fields are refused before they can overflow. */
constexpr std::size_t kMaxLengthOctets = 4;
constexpr std::size_t kMaxObjectIdentifierOctets = 32;
constexpr std::size_t kMaxDecimalOctets = 8;

/** Big-endian unless a byte order mark says otherwise. */
std::optional<std::string> utf16Text(Bytes bytes) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  const bool isLittleEndian = viewOf(bytes).starts_with("\xff\xfe");
  const std::size_t high = isLittleEndian ? 1 : 0;
  std::u16string units;
  for (std::size_t i = isLittleEndian || viewOf(bytes).starts_with("\xfe\xff") ? 2 : 0; i < bytes.size();
       i += 2)
    units.push_back(static_cast<char16_t>(bytes[i + high] << 8 | bytes[i + 1 - high]));
  return utf8FromUtf16(units);
}

std::string sizedHexText(const char* what, std::size_t size, const char* unit, Bytes bytes) {
  return what + ("; " + std::to_string(size)) + unit + "; data = " + hexText(bytes);
}

}  // namespace

std::optional<Element> Reader::read(unsigned tag) {
  if (rest_.size() < 2 || (tag != kAny && rest_[0] != tag) || (rest_[0] & kTagNumberMask) == kTagNumberMask)
    return std::nullopt;
  std::size_t start = 2;
  std::size_t length = rest_[1];
  if (length >= kLongForm) {
    const std::size_t octets = length - kLongForm;
    if (octets == 0 || octets > kMaxLengthOctets || rest_.size() - start < octets || rest_[start] == 0)
      return std::nullopt;
    length = 0;
    for (std::uint8_t octet : rest_.subspan(start, octets)) length = length << 8 | octet;
    if (length < kLongForm) return std::nullopt;
    start += octets;
  }
  if (rest_.size() - start < length) return std::nullopt;
  const Element element{rest_[0], rest_.subspan(start, length)};
  rest_ = rest_.subspan(start + length);
  return element;
}

std::optional<std::vector<Element>> children(Bytes content, unsigned tag) {
  std::vector<Element> elements;
  for (Reader reader(content); !reader.atEnd();) {
    const auto element = reader.read(tag);
    if (!element) return std::nullopt;
    elements.push_back(*element);
  }
  return elements;
}

std::optional<Bytes> bitStringContent(Bytes content) {
  if (content.empty() || content[0] > 7 || (content[0] != 0 && content.size() == 1)) return std::nullopt;
  return content.subspan(1);
}

bool equal(Bytes left, Bytes right) {
  return viewOf(left) == viewOf(right);
}

std::string objectIdentifierText(Bytes content) {
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

std::string integerText(Bytes content) {
  if (content.size() > kMaxDecimalOctets) return hexText(content);
  std::uint64_t value = 0;
  for (std::uint8_t octet : content) value = value << 8 | octet;
  return std::to_string(value);
}

std::string hexText(Bytes bytes) {
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

std::optional<std::string> decodedText(const Element& value) {
  const Bytes content = value.content;
  std::string_view text = viewOf(content);
  if (text.ends_with('\0')) text.remove_suffix(1);
  switch (value.tag) {
    case kPrintableString:
    case kIa5String:
    case kT61String:
    case kVideotexString:
    case kVisibleString:
      return utf8FromLatin1(text);
    case kUtf8String:
    case kGeneralString:
    case kUniversalString:
      return isValidUtf8(text) ? std::optional<std::string>(text) : std::nullopt;
    case kBmpString:
      return utf16Text(content);
    case kInteger:
    case kBoolean:
      return integerText(content);
    case kObjectIdentifier:
      return objectIdentifierText(content);
    case kOctetString:
      return sizedHexText("Byte string", content.size(), " bytes", content);
    case kBitString: {
      const auto octets = bitStringContent(content);
      const std::size_t bits = octets ? octets->size() * 8 - content[0] : content.size() * 8;
      return sizedHexText("Bit string", bits, " bits", octets.value_or(content));
    }
    case kSequence:
      return sizedHexText("Sequence", content.size(), " bytes", content);
    case kSet:
      return sizedHexText("Set", content.size(), " bytes", content);
    default:
      return "not displayed (tag = " + std::to_string(value.tag) + "; length " +
             std::to_string(content.size()) + ")";
  }
}

std::string displayText(const Element& value) {
  return decodedText(value).value_or(hexText(value.content));
}

}  // namespace vorn::der
