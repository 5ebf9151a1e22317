#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "shared/xml/DocumentParser.h"

namespace vorn {

/** A document that was read from bytes of unknown origin: the one way in, with the checks that the parser
 * leaves out and the limits that go with the length. */
class ParsedDocument {
 public:
  /** The bytes are needed no longer than the call. Throws XMLDataParsingException and InvalidXMLDataException
   * for what is found here, and passes on what the parser throws: see refusalOf. */
  explicit ParsedDocument(std::string_view bytes, ExpansionBudget&& own = {}) : ParsedDocument(bytes, own) {}
  /** The same for one of several documents that share a budget, which is charged once this one is read. */
  ParsedDocument(std::string_view bytes, ExpansionBudget& budget);

  xercesc::DOMDocument& document() { return *parser_.getDocument(); }
  const ElementIndex& names() const { return parser_.index(); }
  /** With those that a document type declares. */
  std::size_t nameCount() const { return parser_.nameCount(); }
  const DocumentTraits& traits() const { return traits_; }

 private:
  // The parser and its document lie in this memory, so it has to go last.
  ParserMemory memory_;
  DocumentParser parser_;
  DocumentTraits traits_;
};

/** To be called in a catch block: what the XML parser had against the document, with line and column, if the
 * exception being handled is one of the parser's; nothing for any other exception, which stays the one being
 * handled. */
std::optional<std::string> parserRefusal();

/** Calls `read`, which makes a ParsedDocument: why that document is refused, or nothing when it is not. Any
 * other failure passes through. */
std::optional<std::string> refusalOf(const std::function<void()>& read);

}  // namespace vorn
