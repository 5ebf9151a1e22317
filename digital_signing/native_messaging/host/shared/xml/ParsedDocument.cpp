#include "shared/xml/ParsedDocument.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>

#include "shared/base/Exceptions.h"
#include "shared/text/LetterCase.h"
#include "shared/xml/DocumentEncoding.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

bool holdsZeroCharacter(std::string_view bytes, std::size_t size) {
  if (size == 1) return bytes.find('\0') != std::string_view::npos;
  for (std::size_t at = 0; at < bytes.size(); at += size) {
    const auto character = bytes.substr(at, size);
    if (std::all_of(character.begin(), character.end(), [](char byte) { return byte == '\0'; })) return true;
  }
  return false;
}

/** Whether there may be U+0080 to U+009F, or a reference to one or to the carriage return. */
bool mayHoldControls(const DocumentEncoding& encoding) {
  if (encoding.unit() != 1) return true;
  const std::string_view bytes = encoding.text();
  for (std::size_t at = bytes.find('\xC2'); at != std::string_view::npos; at = bytes.find('\xC2', at + 1))
    if (at + 1 < bytes.size() && static_cast<unsigned char>(bytes[at + 1]) < 0xA0) return true;
  for (std::size_t at = bytes.find("&#"); at != std::string_view::npos; at = bytes.find("&#", at + 2)) {
    const bool isHexadecimal = bytes.substr(at + 2).starts_with('x');
    std::string_view number = bytes.substr(at + (isHexadecimal ? 3 : 2));
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    unsigned character = 0;
    std::from_chars(number.data(), number.data() + std::min<std::size_t>(number.size(), 4), character,
                    isHexadecimal ? 16 : 10);
    if (character == u'\r' || (character >= 0x80 && character < 0xA0)) return true;
  }
  return false;
}

/** Behind the root element the parser takes a character U+0000, or bytes that make no character, for the end
 * of the document, and drops what follows without a word. This check and the one for characters see to it
 * that nothing is signed that the receiver's parser would read differently. */
void requireNoZeroCharacter(const DocumentEncoding& encoding) {
  if (holdsZeroCharacter(encoding.text(), encoding.unit()))
    throw XMLDataParsingException("Request XML data holds a character U+0000");
}

/** Checks that the parser has read the same declaration as we did. */
void requireDeclared(const xercesc::DOMDocument& document, const std::string& encoding) {
  if (asciiLowerCase(toUtf8(document.getXmlEncoding())) != asciiLowerCase(encoding))
    throw XMLDataParsingException("Request XML data declares its encoding in a way that is not accepted");
}

}  // namespace

ParsedDocument::ParsedDocument(std::string_view bytes, ExpansionBudget& budget)
    : memory_(ParserLimits::memoryFor(bytes.size())), parser_(memory_, budget) {
  const DocumentEncoding encoding(bytes);
  requireNoZeroCharacter(encoding);
  const std::string_view text = encoding.text();
  xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "XSECMem",
                                    false);
  source.setCopyBufToStream(false);
  source.setEncoding(encoding.name());
  parser_.parse(source);
  encoding.requireCharacters();
  requireDeclared(document(), encoding.declared());
  traits_ = parser_.traits();
  traits_.mayHoldControls = mayHoldControls(encoding);
  budget.charge(parser_.used().expandedCharacters());
}

std::optional<std::string> parserRefusal() {
  try {
    throw;
  } catch (const xercesc::SAXParseException& e) {
    return toUtf8(e.getMessage()) + " (line " + std::to_string(e.getLineNumber()) + ", column " +
           std::to_string(e.getColumnNumber()) + ")";
  } catch (const xercesc::SAXException& e) {
    return toUtf8(e.getMessage());
  } catch (const xercesc::XMLException& e) {
    return toUtf8(e.getMessage());
  } catch (const xercesc::DOMException& e) {
    return toUtf8(e.getMessage());
  } catch (...) {
    return std::nullopt;
  }
}

std::optional<std::string> refusalOf(const std::function<void()>& read) {
  try {
    read();
    return std::nullopt;
  } catch (const XMLDataParsingException& e) {
    return e.message();
  } catch (const InvalidXMLDataException& e) {
    return e.message();
  } catch (...) {
    if (const auto refusal = parserRefusal()) return refusal;
    throw;
  }
}

}  // namespace vorn
