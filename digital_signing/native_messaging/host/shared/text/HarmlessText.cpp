#include "shared/text/HarmlessText.h"

#include <cstdint>

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
  const auto byteAt = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t first = byteAt(0);
  const Character broken{first, 1, false};
  if (first < 0x80) return {first, 1, true};
  const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < size) return broken;
  std::uint32_t code = first & (0xFFU >> (size + 1));
  for (std::size_t i = 1; i < size; ++i) {
    if ((byteAt(i) & 0xC0U) != 0x80U) return broken;
    code = code << 6 | (byteAt(i) & 0x3FU);
  }
  constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kSmallest[size] || code > 0x10FFFF || surrogate) return broken;
  return {code, size, true};
}

bool isBetween(std::uint32_t code, std::uint32_t first, std::uint32_t last) {
  return code >= first && code <= last;
}

bool isHarmful(const Character& character) {
  const std::uint32_t code = character.code;
  if (!character.valid || code < 0x20 || isBetween(code, 0x7F, 0x9F)) return true;
  return isBetween(code, 0x2028, 0x202E) ||
         isBetween(code, 0x2066, 0x2069) ||                   // separators, embeddings, isolates
         code == 0x200E || code == 0x200F || code == 0x061C;  // marks of direction
}

void appendEscape(std::string& result, const Character& character) {
  constexpr char kDigits[] = "0123456789abcdef";
  const bool isByte = !character.valid || character.code < 0x80;
  result += isByte ? "\\x" : "\\u";
  for (int shift = isByte ? 4 : 12; shift >= 0; shift -= 4) result += kDigits[character.code >> shift & 0xFU];
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
