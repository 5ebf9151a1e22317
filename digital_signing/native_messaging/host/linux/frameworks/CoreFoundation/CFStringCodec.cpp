#include "CoreFoundation/CFStringCodec.h"

#include <bit>

namespace vorn::frameworks {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr bool isHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

void appendCharacter(std::u16string& text, char32_t character) {
  if (character < 0x10000) {
    text.push_back(static_cast<char16_t>(character));
    return;
  }
  const char32_t offset = character - 0x10000;
  text.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
  text.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
}

/** The form of a UTF-8 sequence, told by its first byte. */
struct Sequence {
  std::size_t length;
  char32_t leadBits;
  /** What a longer sequence than needed would fall below. */
  char32_t smallest;
};

std::optional<Sequence> sequenceOf(std::uint8_t lead) {
  if (lead < 0x80) {
    return Sequence{1, lead, 0};
  }
  if ((lead & 0xE0) == 0xC0) {
    return Sequence{2, lead & 0x1Fu, 0x80};
  }
  if ((lead & 0xF0) == 0xE0) {
    return Sequence{3, lead & 0x0Fu, 0x800};
  }
  if ((lead & 0xF8) == 0xF0) {
    return Sequence{4, lead & 0x07u, 0x10000};
  }
  return std::nullopt;
}

std::optional<std::u16string> decodeUtf8(Bytes bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  for (std::size_t position = 0; position < bytes.size();) {
    const auto sequence = sequenceOf(bytes[position]);
    if (!sequence || sequence->length > bytes.size() - position) {
      return std::nullopt;
    }
    char32_t character = sequence->leadBits;
    for (const std::uint8_t next : bytes.subspan(position + 1, sequence->length - 1)) {
      if ((next & 0xC0) != 0x80) {
        return std::nullopt;
      }
      character = (character << 6) | (next & 0x3Fu);
    }
    const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
    if (character < sequence->smallest || character > 0x10FFFF || isSurrogate) {
      return std::nullopt;
    }
    appendCharacter(text, character);
    position += sequence->length;
  }
  return text;
}

/** Unpaired surrogates are kept: the text consists of code units. */
std::optional<std::u16string> decodeUtf16(Bytes bytes, std::endian order) {
  if (bytes.size() % 2 != 0) {
    return std::nullopt;
  }
  const std::size_t high = order == std::endian::big ? 0 : 1;
  std::u16string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    text.push_back(static_cast<char16_t>(bytes[i + high] << 8 | bytes[i + 1 - high]));
  }
  return text;
}

bool startsWith(Bytes bytes, std::initializer_list<std::uint8_t> mark) {
  return bytes.size() >= mark.size() && std::equal(mark.begin(), mark.end(), bytes.begin());
}

std::optional<std::u16string> decodeExternalUtf16(Bytes bytes) {
  if (startsWith(bytes, {0xFF, 0xFE})) {
    return decodeUtf16(bytes.subspan(2), std::endian::little);
  }
  return decodeUtf16(startsWith(bytes, {0xFE, 0xFF}) ? bytes.subspan(2) : bytes, std::endian::big);
}

/** The bytes of one character; empty if it has no form in the encoding. */
std::string encodeCharacter(char32_t character, CFStringEncoding encoding) {
  const auto byte = [](char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
  const auto tail = [&](int shift) { return byte(0x80 | ((character >> shift) & 0x3F)); };
  if (character < 0x80) {
    return {byte(character)};
  }
  if (encoding == kCFStringEncodingISOLatin1 && character < 0x100) {
    return {byte(character)};
  }
  if (encoding != kCFStringEncodingUTF8 || (character >= 0xD800 && character <= 0xDFFF)) {
    return {};
  }
  if (character < 0x800) {
    return {byte(0xC0 | character >> 6), tail(0)};
  }
  if (character < 0x10000) {
    return {byte(0xE0 | character >> 12), tail(6), tail(0)};
  }
  return {byte(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
}

/** The character whose first unit is at `index`; an unpaired surrogate is given as it is. */
char32_t characterAt(const String& text, std::size_t index) {
  const char16_t unit = text.unit(index);
  if (isHighSurrogate(unit) && index + 1 < text.length() && isLowSurrogate(text.unit(index + 1))) {
    return 0x10000 + (static_cast<char32_t>(unit - 0xD800) << 10) + (text.unit(index + 1) - 0xDC00u);
  }
  return unit;
}

}  // namespace

std::optional<std::u16string> decodeText(Bytes bytes, CFStringEncoding encoding, bool isExternal) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return decodeUtf8(isExternal && startsWith(bytes, {0xEF, 0xBB, 0xBF}) ? bytes.subspan(3) : bytes);
    case kCFStringEncodingASCII:
    case kCFStringEncodingISOLatin1:
      return std::u16string(bytes.begin(), bytes.end());
    case kCFStringEncodingUTF16:
      return isExternal ? decodeExternalUtf16(bytes) : decodeUtf16(bytes, std::endian::native);
    default:
      return std::nullopt;
  }
}

EncodedText encodeText(const String& text, CFStringEncoding encoding, std::size_t room) {
  EncodedText result{{}, true};
  if (encoding != kCFStringEncodingUTF8 && encoding != kCFStringEncodingASCII &&
      encoding != kCFStringEncodingISOLatin1) {
    return {{}, false};
  }
  for (std::size_t index = 0; index < text.length();) {
    const char32_t character = characterAt(text, index);
    const std::string bytes = encodeCharacter(character, encoding);
    if (bytes.empty() || bytes.size() > room - result.bytes.size()) {
      result.isComplete = false;
      break;
    }
    result.bytes += bytes;
    index += character < 0x10000 ? 1 : 2;
  }
  return result;
}

}  // namespace vorn::frameworks
