#include "shared/text/HarmlessText.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "shared/text/Utf8.h"

namespace vorn {
namespace {

struct Character {
  std::uint32_t code;
  std::size_t size;
  bool valid;  // otherwise one byte that makes no character
};

constexpr bool isPrintableAscii(char byte) {
  return byte >= 0x20 && byte < 0x7F;
}

/** The character at the start of a text that is not empty. */
Character firstCharacter(std::string_view text) {
  const auto first = static_cast<std::uint8_t>(text.front());
  if (first < 0x80) return {first, 1, true};
  const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  const std::string_view bytes = text.substr(0, size);
  if (!isValidUtf8(bytes)) return {first, 1, false};
  std::uint32_t code = first & (0xFFU >> (size + 1));
  for (const char byte : bytes.substr(1)) code = code << 6 | (static_cast<std::uint8_t>(byte) & 0x3FU);
  return {code, size, true};
}

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

// In order: controls, separators of lines and paragraphs, and whatever shows as nothing, which is all that
// Unicode has viewers ignore (Default_Ignorable_Code_Point; the controls of direction are among it), marks of
// annotation, and the Braille pattern without a dot.
constexpr Range kHarmful[] = {{0x0000, 0x001F}, {0x007F, 0x009F},   {0x00AD, 0x00AD},   {0x034F, 0x034F},
                              {0x061C, 0x061C}, {0x115F, 0x1160},   {0x17B4, 0x17B5},   {0x180B, 0x180F},
                              {0x200B, 0x200F}, {0x2028, 0x202E},   {0x2060, 0x206F},   {0x2800, 0x2800},
                              {0x3164, 0x3164}, {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},
                              {0xFFF0, 0xFFFB}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};

bool isHarmful(const Character& character) {
  const auto* const range =
      std::upper_bound(std::begin(kHarmful), std::end(kHarmful), character.code,
                       [](std::uint32_t code, const Range& one) { return code <= one.last; });
  return !character.valid || (range != std::end(kHarmful) && character.code >= range->first);
}

void appendEscape(std::string& result, const Character& character) {
  constexpr char kDigits[] = "0123456789abcdef";
  const bool isByte = !character.valid || character.code < 0x80;
  const bool isLong = character.code > 0xFFFF;
  result += isByte ? "\\x" : isLong ? "\\U" : "\\u";
  for (int shift = isByte ? 4 : isLong ? 28 : 12; shift >= 0; shift -= 4)
    result += kDigits[character.code >> shift & 0xFU];
}

/** How many bytes from `position` on are harmless. */
std::size_t harmlessLength(std::string_view text, std::size_t position) {
  const std::size_t start = position;
  while (position < text.size()) {
    if (isPrintableAscii(text[position])) {
      ++position;
      continue;
    }
    const Character character = firstCharacter(text.substr(position));
    if (isHarmful(character)) break;
    position += character.size;
  }
  return position - start;
}

}  // namespace

std::string harmlessText(std::string_view text) {
  std::string result;
  result.reserve(text.size() + text.size() / 8);
  std::size_t position = 0;
  while (true) {
    const std::size_t length = harmlessLength(text, position);
    result.append(text, position, length);
    position += length;
    if (position == text.size()) return result;
    const Character harmful = firstCharacter(text.substr(position));
    appendEscape(result, harmful);
    position += harmful.size;
  }
}

bool isHarmless(std::string_view text) {
  return harmlessLength(text, 0) == text.size();
}

}  // namespace vorn
