#pragma once

#include <string_view>

#include "shared/xml/DocumentParser.h"
#include "shared/xml/ParserMemory.h"
#include "shared/xml/TreeParser.h"

namespace vorn {

/**
 * A document that was read from bytes of unknown origin: the one way in, with the checks that the parser
 * leaves out and the limits that go with the length.
 */
class ParsedDocument {
 public:
  /**
   * The bytes are needed no longer than the call. Throws XMLDataParsingException and InvalidXMLDataException
   * for what is found here, and passes on what the parser throws: see describeParserException.
   */
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

}  // namespace vorn
