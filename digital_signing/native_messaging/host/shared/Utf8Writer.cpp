#include "shared/Utf8Writer.h"

#include <algorithm>
#include <array>
#include <cstdint>

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

bool isLeading(char16_t c) {
  return c >= 0xD800 && c < 0xDC00;
}
bool isTrailing(char16_t c) {
  return c >= 0xDC00 && c < 0xE000;
}

/** The bytes of one character that is not ASCII. */
char* putWide(char* out, std::uint32_t c) {
  const auto tail = [&out, c](unsigned shift) { *out++ = static_cast<char>(0x80 | (c >> shift & 0x3F)); };
  if (c < 0x800) {
    *out++ = static_cast<char>(0xC0 | c >> 6);
  } else if (c < 0x10000) {
    *out++ = static_cast<char>(0xE0 | c >> 12);
    tail(6);
  } else {
    *out++ = static_cast<char>(0xF0 | c >> 18);
    tail(12);
    tail(6);
  }
  tail(0);
  return out;
}

}  // namespace

void appendUtf8(std::string& out, std::u16string_view text, Escapes escapes) {
  // Room is made for a block at a time: no unit becomes more than six bytes ("&quot;").
  constexpr std::size_t kBlock = 4096;
  constexpr std::size_t kLongest = 6;
  const std::uint8_t mask = bit(escapes);
  const char16_t* in = text.data();
  const char16_t* const end = in + text.size();
  while (in < end) {
    const char16_t* const blockEnd = in + std::min<std::size_t>(kBlock, static_cast<std::size_t>(end - in));
    const std::size_t used = out.size();
    out.resize(used + static_cast<std::size_t>(blockEnd - in) * kLongest);
    char* const start = out.data() + used;
    char* to = start;
    while (in < blockEnd) {
      const char16_t c = *in++;
      if (c < 0x80) {
        if ((kSpecial[c] & mask) == 0) {
          *to++ = static_cast<char>(c);
        } else {
          to = putEscaped(to, c);
        }
      } else if (isLeading(c) && in < end && isTrailing(*in)) {
        to = putWide(to, 0x10000 + ((c - 0xD800U) << 10) + (*in++ - 0xDC00U));
      } else {
        to = putWide(to, c);
      }
    }
    out.resize(used + static_cast<std::size_t>(to - start));
  }
}
