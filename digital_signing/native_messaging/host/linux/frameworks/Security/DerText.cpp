#include "linux/frameworks/Security/DerText.h"

#include <algorithm>

namespace vorn::frameworks::der {
namespace {

constexpr std::size_t kMaxObjectIdentifierOctets = 32;
constexpr std::size_t kMaxDecimalOctets = 8;

constexpr bool isSurrogate(std::uint32_t unit) {
  return unit >= 0xd800 && unit < 0xe000;
}

void appendUtf8(std::string& text, std::uint32_t character) {
  const auto put = [&text](std::uint32_t octet) { text += static_cast<char>(octet); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xc0 | character >> 6);
    put(0x80 | (character & 0x3f));
  } else if (character < 0x10000) {
    put(0xe0 | character >> 12);
    put(0x80 | (character >> 6 & 0x3f));
    put(0x80 | (character & 0x3f));
  } else {
    put(0xf0 | character >> 18);
    put(0x80 | (character >> 12 & 0x3f));
    put(0x80 | (character >> 6 & 0x3f));
    put(0x80 | (character & 0x3f));
  }
}

/** Big-endian unless a byte order mark says otherwise. */
std::optional<std::string> utf16Text(Bytes bytes) {
  if (bytes.size() % 2 != 0) {
    return std::nullopt;
  }
  std::size_t high = 0;
  std::size_t position = 0;
  if (bytes.size() >= 2 && bytes[0] + bytes[1] == 0xfe + 0xff && (bytes[0] == 0xfe || bytes[0] == 0xff)) {
    high = bytes[0] == 0xff ? 1 : 0;
    position = 2;
  }
  const auto unitAt = [&](std::size_t index) {
    return static_cast<std::uint32_t>(bytes[index + high] << 8 | bytes[index + 1 - high]);
  };
  std::string text;
  for (; position < bytes.size(); position += 2) {
    std::uint32_t character = unitAt(position);
    if (isSurrogate(character)) {
      const bool paired =
          character < 0xdc00 && position + 2 < bytes.size() && (unitAt(position + 2) & 0xfc00) == 0xdc00;
      if (!paired) {
        return std::nullopt;
      }
      position += 2;
      character = 0x10000 + ((character & 0x3ff) << 10) + (unitAt(position) & 0x3ff);
    }
    appendUtf8(text, character);
  }
  return text;
}

std::string sizedHexText(const char* what, std::size_t size, const char* unit, Bytes bytes) {
  return std::string(what) + "; " + std::to_string(size) + unit + hexText(bytes);
}

Bytes withoutTrailingZero(Bytes bytes) {
  return !bytes.empty() && bytes.back() == 0 ? bytes.first(bytes.size() - 1) : bytes;
}

}  // namespace

std::string objectIdentifierText(Bytes content) {
  if (content.empty()) {
    return "<NULL>";
  }
  if (content.size() > kMaxObjectIdentifierOctets) {
    return "OID too long";
  }
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
  if (content.size() > kMaxDecimalOctets) {
    return hexText(content);
  }
  std::uint64_t value = 0;
  for (std::uint8_t octet : content) {
    value = value << 8 | octet;
  }
  return std::to_string(value);
}

std::string hexText(Bytes bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size() * 3);
  for (std::uint8_t octet : bytes) {
    if (!text.empty()) {
      text += ' ';
    }
    text += kDigits[octet >> 4];
    text += kDigits[octet & 0x0f];
  }
  return text;
}

std::string latin1Text(Bytes bytes) {
  std::string text;
  for (std::uint8_t octet : bytes) {
    appendUtf8(text, octet);
  }
  return text;
}

bool isUtf8(Bytes bytes) {
  for (std::size_t position = 0; position < bytes.size();) {
    const std::uint8_t lead = bytes[position];
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xc0 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    if (length == 0 || lead > 0xf4 || bytes.size() - position < length) {
      return false;
    }
    std::uint32_t character = length == 1 ? lead : lead & (0xffu >> (length + 1));
    for (std::uint8_t octet : bytes.subspan(position + 1, length - 1)) {
      if ((octet & 0xc0) != 0x80) {
        return false;
      }
      character = character << 6 | (octet & 0x3f);
    }
    static constexpr std::uint32_t kSmallestOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
    if (character < kSmallestOfLength[length] || isSurrogate(character) || character > 0x10ffff) {
      return false;
    }
    position += length;
  }
  return true;
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
      return isUtf8(text) ? std::optional(std::string(text.begin(), text.end())) : std::nullopt;
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

}  // namespace vorn::frameworks::der
