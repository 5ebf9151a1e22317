#include "shared/text/HarmlessText.h"

#include <cstdint>

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

}  // namespace vorn
