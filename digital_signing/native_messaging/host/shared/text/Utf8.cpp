#include "shared/text/Utf8.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vorn {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::size_t skipAscii(std::string_view text, std::size_t at) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  for (std::uint64_t eight = 0; text.size() - at >= sizeof(eight); at += sizeof(eight)) {
    std::memcpy(&eight, text.data() + at, sizeof(eight));
    if ((eight & kHighBits) != 0) break;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at;
}

struct Sequence {
  /** The length of the whole sequence, or of its well-formed beginning; at least 1. */
  std::size_t length;
  bool valid;
};

/** Looks at the sequence whose first byte, not an ASCII one, is at `at`. */
Sequence sequenceAt(std::string_view text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  if (lead < 0xC2 || lead > 0xF4) return {1, false};
  const std::size_t whole = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte's range is what keeps out overlong forms, surrogates and what lies above U+10FFFF.
  unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (std::size_t length = 1; length < whole; ++length) {
    if (at + length == text.size()) return {length, false};
    const auto next = static_cast<unsigned char>(text[at + length]);
    if (next < low || next > high) return {length, false};
    low = 0x80;
    high = 0xBF;
  }
  return {whole, true};
}

/** Where the first ill-formed sequence from `at` on starts; the end of the text if there is none. */
std::size_t findInvalid(std::string_view text, std::size_t at) {
  while ((at = skipAscii(text, at)) < text.size()) {
    const Sequence sequence = sequenceAt(text, at);
    if (!sequence.valid) break;
    at += sequence.length;
  }
  return at;
}

void append(std::string& text, char32_t character) {
  char bytes[4];
  text.append(bytes, writeUtf8(bytes, character));
}

}  // namespace

bool isValidUtf8(std::string_view text) {
  return findInvalid(text, 0) == text.size();
}

std::string replaceInvalidUtf8(std::string text) {
  std::size_t invalid = findInvalid(text, 0);
  if (invalid == text.size()) return text;
  std::string result;
  result.reserve(text.size() + kReplacement.size());
  for (std::size_t at = 0;;) {
    result.append(text, at, invalid - at);
    if (invalid == text.size()) return result;
    result.append(kReplacement);
    at = invalid + sequenceAt(text, invalid).length;
    invalid = findInvalid(text, at);
  }
}

std::optional<std::string> utf8FromUtf16(std::u16string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    char32_t character = text[at];
    if (isHighSurrogate(text[at]) && at + 1 < text.size() && isLowSurrogate(text[at + 1])) {
      character = characterOf(text[at], text[at + 1]);
      ++at;
    } else if (isHighSurrogate(text[at]) || isLowSurrogate(text[at])) {
      return std::nullopt;
    }
    append(result, character);
  }
  return result;
}

std::string utf8FromLatin1(std::string_view text) {
  std::string result;
  for (const char byte : text) append(result, static_cast<unsigned char>(byte));
  return result;
}

std::size_t utf16Length(std::string_view text) {
  std::size_t length = 0;
  for (const char c : text) {
    // Every character has one byte that continues none; those of four bytes are two units.
    length += continuesCharacter(c) ? 0 : static_cast<unsigned char>(c) < 0xF0 ? 1 : 2;
  }
  return length;
}

std::string_view cutUtf8(std::string_view text, std::size_t room) {
  if (text.size() <= room) return text;
  while (room > 0 && continuesCharacter(text[room])) --room;
  return text.substr(0, room);
}

std::string excerptOf(const std::string& text) {
  constexpr std::size_t kLongest = 200;
  return text.size() > kLongest ? std::string(cutUtf8(text, kLongest)) + "..." : text;
}

}  // namespace vorn
