#include "shared/xml/XmlText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <xercesc/util/TransService.hpp>

namespace vorn {
namespace {

// Bit n of an entry: the ASCII character needs more than itself under escapes n.
constexpr std::uint8_t bit(Escapes escapes) {
  return static_cast<std::uint8_t>(1U << static_cast<unsigned>(escapes));
}

constexpr bool isOfText(Escapes escapes) {
  return escapes == Escapes::kText || escapes == Escapes::kDocumentText;
}
constexpr bool isOfAttribute(Escapes escapes) {
  return escapes == Escapes::kAttribute || escapes == Escapes::kDocumentAttribute;
}
constexpr bool isOfDocument(Escapes escapes) {
  return escapes == Escapes::kDocumentText || escapes == Escapes::kDocumentAttribute;
}

constexpr std::array<std::uint8_t, 128> makeSpecial() {
  std::array<std::uint8_t, 128> special{};
  const auto note = [&special](Escapes escapes, std::u16string_view characters) {
    for (const char16_t c : characters) special[c] = static_cast<std::uint8_t>(special[c] | bit(escapes));
  };
  for (const Escapes text : {Escapes::kText, Escapes::kDocumentText}) note(text, u"&<>\r");
  for (const Escapes attribute : {Escapes::kAttribute, Escapes::kDocumentAttribute})
    note(attribute, u"&<\"\t\n\r");
  return special;
}
constexpr std::array<std::uint8_t, 128> kSpecial = makeSpecial();

char* put(char* out, std::string_view text) {
  return std::copy(text.begin(), text.end(), out);
}

char* putEscaped(char* out, char16_t c) {
  switch (c) {
    case u'&':
      return put(out, "&amp;");
    case u'<':
      return put(out, "&lt;");
    case u'>':
      return put(out, "&gt;");
    case u'"':
      return put(out, "&quot;");
    case u'\t':
      return put(out, "&#x9;");
    case u'\n':
      return put(out, "&#xA;");
    default:
      return put(out, "&#xD;");
  }
}

// Vectors of GCC and clang, which both turn into the instructions of the machine at hand. The compilers' own
// vectors of the plain loop take two and a half times as long.
using Units = std::uint16_t __attribute__((vector_size(16)));
using Octets = std::uint8_t __attribute__((vector_size(16)));

/** Not 0 where a unit needs more than its low byte. */
template <Escapes escapes>
Units needMore(const Units& units) {
  Units special = units & 0xFF80;
  const auto note = [&](char16_t c) {
    special |= static_cast<Units>(units == static_cast<std::uint16_t>(c));
  };
  if (escapes != Escapes::kNone)
    for (const char16_t c : {u'&', u'<', u'\r'}) note(c);
  if (isOfText(escapes)) note(u'>');
  if (isOfAttribute(escapes))
    for (const char16_t c : {u'"', u'\t', u'\n'}) note(c);
  return special;
}

constexpr std::size_t kStride = 16;

/** Writes the low bytes of a stride of units; true when no unit needs more than that. */
template <Escapes escapes>
bool putPlain(char* out, const char16_t* in) {
  Units first;
  Units second;
  std::memcpy(&first, in, sizeof first);
  std::memcpy(&second, in + kStride / 2, sizeof second);
  constexpr int k = std::endian::native == std::endian::little ? 0 : 1;
  const Octets low = __builtin_shufflevector(
      reinterpret_cast<Octets>(first), reinterpret_cast<Octets>(second), k, k + 2, k + 4, k + 6, k + 8,
      k + 10, k + 12, k + 14, k + 16, k + 18, k + 20, k + 22, k + 24, k + 26, k + 28, k + 30);
  std::memcpy(out, &low, sizeof low);
  const Units special = needMore<escapes>(first) | needMore<escapes>(second);
  std::array<std::uint64_t, 2> words;
  std::memcpy(words.data(), &special, sizeof special);
  return (words[0] | words[1]) == 0;
}

template <Escapes escapes>
void append(std::string& out, std::u16string_view text) {
  // A block goes through a buffer of its own: no unit becomes more than eight bytes ("&#x2028;").
  constexpr std::size_t kBlock = 1024;
  constexpr std::size_t kLongest = 8;
  const char16_t* in = text.data();
  const char16_t* const end = in + text.size();
  std::array<char, kBlock * kLongest> bytes;
  while (in < end) {
    const char16_t* const blockEnd = in + std::min<std::size_t>(kBlock, static_cast<std::size_t>(end - in));
    char* to = bytes.data();
    while (in < blockEnd) {
      while (static_cast<std::size_t>(blockEnd - in) >= kStride && putPlain<escapes>(to, in)) {
        in += kStride;
        to += kStride;
      }
      const char16_t* const strideEnd = in + std::min<std::ptrdiff_t>(kStride, blockEnd - in);
      while (in < strideEnd) {
        const char16_t c = *in++;
        if (c < 0x80)
          if ((kSpecial[c] & bit(escapes)) == 0)
            *to++ = static_cast<char>(c);
          else
            to = putEscaped(to, c);
        else if (isOfDocument(escapes) && (c == 0x85 || c == 0x2028))
          to = put(to, c == 0x85 ? "&#x85;" : "&#x2028;");
        else if (isHighSurrogate(c) && in < end && isLowSurrogate(*in))
          to = writeUtf8(to, characterOf(c, *in++));
        else
          to = writeUtf8(to, c);
      }
    }
    out.append(bytes.data(), to);
  }
}

}  // namespace

void appendUtf8(std::string& out, std::u16string_view text, Escapes escapes) {
  switch (escapes) {
    case Escapes::kNone:
      return append<Escapes::kNone>(out, text);
    case Escapes::kText:
      return append<Escapes::kText>(out, text);
    case Escapes::kAttribute:
      return append<Escapes::kAttribute>(out, text);
    case Escapes::kDocumentText:
      return append<Escapes::kDocumentText>(out, text);
    case Escapes::kDocumentAttribute:
      return append<Escapes::kDocumentAttribute>(out, text);
  }
}

std::string toUtf8(std::u16string_view text) {
  std::string converted;
  appendUtf8(converted, text, Escapes::kNone);
  return converted;
}

std::u16string toUtf16(const std::string& text) {
  if (text.empty()) return {};
  const xercesc::TranscodeFromStr converted(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                            "UTF-8");
  return {converted.str(), converted.length()};
}

}  // namespace vorn
