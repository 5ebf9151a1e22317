#include "shared/xml/DocumentBytes.h"

#include <algorithm>
#include <cstddef>

#include "shared/Exceptions.h"
#include "shared/text/Utf8.h"

namespace {

/** Bytes to a character, told by the first four as parsers do: a byte order mark, or "<" among zero bytes. */
std::size_t characterSize(std::string_view bytes) {
  using namespace std::string_view_literals;
  for (const auto start : {"\0\0\xFE\xFF"sv, "\xFF\xFE\0\0"sv, "\0\0\0<"sv, "<\0\0\0"sv}) {
    if (bytes.starts_with(start)) return 4;
  }
  for (const auto start : {"\xFE\xFF"sv, "\xFF\xFE"sv, "\0<"sv, "<\0"sv}) {
    if (bytes.starts_with(start)) return 2;
  }
  return 1;
}

bool holdsZeroCharacter(std::string_view bytes, std::size_t size) {
  if (size == 1) return bytes.find('\0') != std::string_view::npos;
  for (std::size_t at = 0; at < bytes.size(); at += size) {
    const auto character = bytes.substr(at, size);
    if (std::all_of(character.begin(), character.end(), [](char byte) { return byte == '\0'; })) return true;
  }
  return false;
}

}  // namespace

void requireNoZeroCharacter(std::string_view bytes) {
  const std::size_t size = characterSize(bytes);
  if (bytes.size() % size != 0) throw XMLDataParsingException("Request XML data ends within a character");
  if (holdsZeroCharacter(bytes, size))
    throw XMLDataParsingException("Request XML data holds a character U+0000");
}

void requireUtf8(std::string_view bytes) {
  if (!vorn::isValidUtf8(bytes)) throw XMLDataParsingException("Request XML data is not valid UTF-8");
}
