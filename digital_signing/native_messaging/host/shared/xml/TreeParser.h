#pragma once

#include <string>
#include <string_view>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "shared/xml/DocumentElements.h"
#include "shared/xml/ParserLimits.h"

XERCES_CPP_NAMESPACE_BEGIN
class DOMElementImpl;
XERCES_CPP_NAMESPACE_END

namespace vorn {

/** Traits of a document that the parser notices, so that nobody has to walk through it for them. */
struct DocumentTraits {
  unsigned depth = 0; /**< levels of elements */
  bool declaresNamespacesBelowRoot = false;
  bool mayHoldControls =
      false; /**< carriage returns as references, which alone come through, or U+0080 to U+009F */
  // Of names of other things than elements and attributes: instructions, and what a document type names.
  bool hasLongName = false;  /**< as isLong has it */
  bool hasLaterName = false; /**< not of the fourth edition */
};

class ParserMemory;

/**
 * The library's DOM parser at its defaults (no namespace processing, no validation, entity references and
 * CDATA sections kept as nodes) with limits. It makes the same tree as the library's own, but most nodes in
 * less time, and it notes the elements by name on the way.
 */
class TreeParser : public xercesc::XercesDOMParser {
 public:
  /** The memory has to outlive the parser. */
  TreeParser(ParserMemory& memory, const ExpansionBudget& budget);

  void startDocument() override;
  void startElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, const XMLCh* prefix,
                    const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount,
                    bool isEmpty, bool isRoot) override;
  void endElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, bool isRoot,
                  const XMLCh* prefix) override;
  void docCharacters(const XMLCh* text, XMLSize_t length, bool isCdata) override;
  void ignorableWhitespace(const XMLCh* text, XMLSize_t length, bool isCdata) override;
  void docComment(const XMLCh* text) override;
  void docPI(const XMLCh* target, const XMLCh* data) override;
  void startEntityReference(const xercesc::XMLEntityDecl& declaration) override;
  void endEntityReference(const xercesc::XMLEntityDecl& declaration) override;

  /** The names of elements and attributes that the document has, and the elements of each. */
  const ElementIndex& index() const { return index_; }
  const ParserLimits& used() const { return limits_; }
  /** The traits that the parser noticed, without those that only the bytes tell. */
  DocumentTraits traits() const;
  /** How many different names there are, those that are declared included. */
  std::size_t nameCount() const { return index_.size() + declaredNames_; }

 protected:
  xercesc::DOMElement* createElement(const XMLCh* name) override;
  xercesc::DOMAttr* createAttr(const XMLCh* name) override;

  /** Notes a name at the address at which the tree keeps it. */
  NamedElements& noteName(const XMLCh* pooledName);
  /** Notes what its characters tell of a name that is in the tree for no element and no attribute. */
  void noteOtherName(std::u16string_view name);
  /** Notes that there is one more name, which goes with the declarations when they have been read. */
  void noteDeclaredName();
  ParserLimits& limits() { return limits_; }

 private:
  xercesc::DOMElementImpl* currentElement() const;
  void addElement(xercesc::DOMElementImpl& parent, const XMLCh* name,
                  const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount);
  void addText();
  void addTextNode(std::u16string_view text);

  ParserLimits limits_;
  ElementIndex index_;
  std::size_t declaredNames_ = 0;
  DocumentTraits traits_;
  // Text that has come since the last node; the scanner hands it over in pieces.
  std::u16string text_;
};

}  // namespace vorn
