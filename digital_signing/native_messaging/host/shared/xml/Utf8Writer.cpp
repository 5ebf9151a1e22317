#include "shared/xml/Utf8Writer.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "shared/text/Utf8.h"

namespace vorn {
namespace {

// Bit n of an entry: the ASCII character needs more than itself under escapes n.
constexpr std::uint8_t bit(Escapes escapes) {
  return static_cast<std::uint8_t>(1U << static_cast<unsigned>(escapes));
}

constexpr std::array<std::uint8_t, 128> makeSpecial() {
  std::array<std::uint8_t, 128> special{};
  for (const char16_t c : {u'&', u'<', u'>', u'\r'}) special[c] |= bit(Escapes::kText);
  for (const char16_t c : {u'&', u'<', u'"', u'\t', u'\n', u'\r'}) special[c] |= bit(Escapes::kAttribute);
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

/** Whether none of the characters needs more than itself; their bytes, if so. Without a branch, so that the
 * compiler takes many at a time. */
template <Escapes escapes, std::size_t count>
bool putPlain(char* out, const char16_t* in) {
  unsigned char special = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const char16_t c = in[i];
    bool needsMore = c >= 0x80;
    if (escapes != Escapes::kNone) needsMore |= (c == u'&') | (c == u'<') | (c == u'\r');
    if (escapes == Escapes::kText) needsMore |= c == u'>';
    if (escapes == Escapes::kAttribute) needsMore |= (c == u'"') | (c == u'\t') | (c == u'\n');
    special |= static_cast<unsigned char>(needsMore);
    out[i] = static_cast<char>(c);
  }
  return special == 0;
}

template <Escapes escapes>
void append(std::string& out, std::u16string_view text) {
  // A block goes through a buffer of its own: no unit becomes more than six bytes ("&quot;").
  constexpr std::size_t kBlock = 1024;
  constexpr std::size_t kLongest = 6;
  constexpr std::size_t kStride = 16;
  const char16_t* in = text.data();
  const char16_t* const end = in + text.size();
  std::array<char, kBlock * kLongest> bytes;
  while (in < end) {
    const char16_t* const blockEnd = in + std::min<std::size_t>(kBlock, static_cast<std::size_t>(end - in));
    char* to = bytes.data();
    while (in < blockEnd) {
      while (static_cast<std::size_t>(blockEnd - in) >= kStride && putPlain<escapes, kStride>(to, in)) {
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
  }
}

}  // namespace vorn
