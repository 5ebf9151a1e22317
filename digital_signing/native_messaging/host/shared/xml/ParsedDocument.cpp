#include "shared/xml/ParsedDocument.h"

#include <algorithm>
#include <cstddef>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>

#include "shared/Exceptions.h"
#include "shared/text/Utf8.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

/** Bytes to a character, told by the first four as parsers do: a byte order mark, or "<" among zero bytes. */
std::size_t characterSize(std::string_view bytes) {
  using namespace std::string_view_literals;
  for (const auto start : {"\0\0\xFE\xFF"sv, "\xFF\xFE\0\0"sv, "\0\0\0<"sv, "<\0\0\0"sv})
    if (bytes.starts_with(start)) return 4;
  for (const auto start : {"\xFE\xFF"sv, "\xFF\xFE"sv, "\0<"sv, "<\0"sv})
    if (bytes.starts_with(start)) return 2;
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

/** Whether some reference to a character may be one to the carriage return. */
bool mayHoldCarriageReturns(std::string_view bytes) {
  if (characterSize(bytes) != 1) return true;
  for (std::size_t at = bytes.find("&#"); at != std::string_view::npos; at = bytes.find("&#", at + 2)) {
    std::string_view number = bytes.substr(at + 2, bytes.find(';', at) - at - 2);
    const bool isHexadecimal = number.starts_with('x');
    if (isHexadecimal) number.remove_prefix(1);
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    if (isHexadecimal ? number == "D" || number == "d" : number == "13") return true;
  }
  return false;
}

/**
 * Behind the root element the parser takes a character U+0000, or bytes that make no character, for the end
 * of the document, and drops what follows without a word. This check and the one for UTF-8 see to it that
 * nothing is signed that the receiver's parser would read differently.
 */
void requireNoZeroCharacter(std::string_view bytes) {
  const std::size_t size = characterSize(bytes);
  if (bytes.size() % size != 0) throw XMLDataParsingException("Request XML data ends within a character");
  if (holdsZeroCharacter(bytes, size))
    throw XMLDataParsingException("Request XML data holds a character U+0000");
}

}  // namespace

ParsedDocument::ParsedDocument(std::string_view bytes) : memory_(ParserLimits::memoryFor(bytes.size())) {
  requireNoZeroCharacter(bytes);
  xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes.data()), bytes.size(), "XSECMem",
                                    false);
  source.setCopyBufToStream(false);
  parser_.parse(source);
  if (viewOf(document().getInputEncoding()) == u"UTF-8" && !isValidUtf8(bytes))
    throw XMLDataParsingException("Request XML data is not valid UTF-8");
  traits_ = {parser_.deepestElement(), parser_.declaresNamespacesBelowRoot(), mayHoldCarriageReturns(bytes)};
}

}  // namespace vorn
