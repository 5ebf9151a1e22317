#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorn {

/** Whether the text is well-formed UTF-8: no surrogates, no overlong forms, nothing above U+10FFFF. */
bool isValidUtf8(std::string_view text);

/** The text with U+FFFD in place of each ill-formed sequence: each longest start of a well-formed sequence
 * counts as one, and so does each other byte. A valid text comes back as it is, moved and not copied. */
std::string replaceInvalidUtf8(std::string text);

/** Whether the byte is one of those of a UTF-8 character that follow its first. */
constexpr bool continuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/** Writes the one to four bytes of a character to `out`; where the next one goes. */
inline char* writeUtf8(char* out, char32_t character) {
  const auto put = [&out](char32_t byte) { *out++ = static_cast<char>(byte); };
  if (character < 0x80) {
    put(character);
    return out;
  }
  if (character < 0x800) {
    put(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      put(0xE0 | character >> 12);
    } else {
      put(0xF0 | character >> 18);
      put(0x80 | (character >> 12 & 0x3F));
    }
    put(0x80 | (character >> 6 & 0x3F));
  }
  put(0x80 | (character & 0x3F));
  return out;
}

inline bool isHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
inline bool isLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}
/** The character that a pair of surrogates stands for. */
inline char32_t characterOf(char16_t high, char16_t low) {
  return 0x10000 + (static_cast<char32_t>(high - 0xD800) << 10) + static_cast<char32_t>(low - 0xDC00);
}

/** The text in UTF-8; none when a surrogate stands alone. */
std::optional<std::string> utf8FromUtf16(std::u16string_view text);

/** ISO 8859-1 in UTF-8: every byte is the character of its number. */
std::string utf8FromLatin1(std::string_view text);

/** How many units of UTF-16 a valid UTF-8 text takes. */
std::size_t utf16Length(std::string_view text);

/** The start of a valid UTF-8 text that fits into `room` bytes, in whole characters. */
std::string_view cutUtf8(std::string_view text, std::size_t room);

/** A valid UTF-8 text for one line, which need not repeat the whole of a long one: 200 bytes and "...". */
std::string excerptOf(const std::string& text);

}  // namespace vorn
