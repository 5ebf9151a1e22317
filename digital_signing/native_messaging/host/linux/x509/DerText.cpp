#include "linux/x509/DerText.h"

#include <algorithm>
#include <cstdint>

#include "shared/text/Utf8.h"

namespace vorn::der {
namespace {

constexpr std::size_t kMaxObjectIdentifierOctets = 32;
constexpr std::size_t kMaxDecimalOctets = 8;

std::string_view viewOf(Bytes bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/** Big-endian unless a byte order mark says otherwise. */
std::optional<std::string> utf16Text(Bytes bytes) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  const auto startsWith = [bytes](std::uint8_t first, std::uint8_t second) {
    return bytes.size() >= 2 && bytes[0] == first && bytes[1] == second;
  };
  const std::size_t high = startsWith(0xff, 0xfe) ? 1 : 0;
  std::u16string units;
  for (std::size_t i = high == 1 || startsWith(0xfe, 0xff) ? 2 : 0; i < bytes.size(); i += 2)
    units.push_back(static_cast<char16_t>(bytes[i + high] << 8 | bytes[i + 1 - high]));
  return utf8FromUtf16(units);
}

std::string sizedHexText(const char* what, std::size_t size, const char* unit, Bytes bytes) {
  return std::string(what) + "; " + std::to_string(size) + unit + hexText(bytes);
}

Bytes withoutTrailingZero(Bytes bytes) {
  return !bytes.empty() && bytes.back() == 0 ? bytes.first(bytes.size() - 1) : bytes;
}

}  // namespace

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
    if ((octet & 0x80) == 0) {
      text.append(1, '.').append(std::to_string(arc));
      arc = 0;
    }
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

std::string latin1Text(Bytes bytes) {
  return utf8FromLatin1(viewOf(bytes));
}

std::optional<std::string> decodedText(const Element& value) {
  const Bytes content = value.content;
  const Bytes text = withoutTrailingZero(content);
  switch (value.tag) {
    case kPrintableString:
    case kIa5String:
    case kT61String:
    case kVideotexString:
    case kVisibleString:
      return latin1Text(text);
    case kUtf8String:
    case kGeneralString:
    case kUniversalString:
      return isValidUtf8(viewOf(text)) ? std::optional(std::string(viewOf(text))) : std::nullopt;
    case kBmpString:
      return utf16Text(content);
    case kInteger:
    case kBoolean:
      return integerText(content);
    case kObjectIdentifier:
      return objectIdentifierText(content);
    case kOctetString:
      return sizedHexText("Byte string", content.size(), " bytes; data = ", content);
    case kBitString: {
      const auto bits = bitStringContent(content);
      const std::size_t unused = bits ? content[0] : 0;
      const Bytes octets = bits.value_or(content);
      return sizedHexText("Bit string", octets.size() * 8 - unused, " bits; data = ", octets);
    }
    case kSequence:
      return sizedHexText("Sequence", content.size(), " bytes; data = ", content);
    case kSet:
      return sizedHexText("Set", content.size(), " bytes; data = ", content);
    default:
      return std::string("not displayed (tag = ")
          .append(std::to_string(value.tag))
          .append("; length ")
          .append(std::to_string(content.size()))
          .append(")");
  }
}

std::string displayText(const Element& value) {
  return decodedText(value).value_or(hexText(value.content));
}

}  // namespace vorn::der
