#pragma once

#include <string>
#include <string_view>
#include <xercesc/dom/impl/DOMElementImpl.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "shared/xml/DocumentElements.h"
#include "shared/xml/InternalSubset.h"
#include "shared/xml/ParserLimits.h"

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

/**
 * The parser that can be given any bytes: the library's DOM parser at its defaults (no namespace processing,
 * no validation, entity references and CDATA sections kept as nodes), but that
 *
 * - every error raises a SAXParseException; the library's parser without an error handler returns the part of
 * the tree that it has, without a word;
 * - nothing outside the document is read; a document that cannot be understood without is in error;
 * - a document type has no external subset, and no default values for attributes of which signatures are
 * made;
 * - memory, time and depth are bounded: see ParserLimits;
 * - the document type's internal subset can be written out and read again with the same meaning;
 * - most nodes of the same tree are made in less time, and the elements are noted by name on the way.
 */
class DocumentParser : public xercesc::XercesDOMParser {
 public:
  /** The memory has to outlive the parser. */
  DocumentParser(ParserMemory& memory, const ExpansionBudget& budget);

  /** The names of elements and attributes that the document has, and the elements of each. */
  const ElementIndex& index() const { return index_; }
  const ParserLimits& used() const { return limits_; }
  /** The traits that the parser noticed, without those that only the bytes tell. */
  DocumentTraits traits() const;
  /** How many different names there are, those that are declared included. */
  std::size_t nameCount() const { return index_.size() + declaredNames_; }

  // What the library calls while it parses.
  void error(unsigned int code, const XMLCh* domain, xercesc::XMLErrorReporter::ErrTypes type,
             const XMLCh* text, const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line,
             XMLFileLoc column) override;
  xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier* resource) override;
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
  void doctypeDecl(const xercesc::DTDElementDecl& root, const XMLCh* publicId, const XMLCh* systemId,
                   bool hasInternalSubset, bool hasExternalSubset) override;
  void entityDecl(const xercesc::DTDEntityDecl& declaration, bool isParameterEntity, bool isIgnored) override;
  void notationDecl(const xercesc::XMLNotationDecl& declaration, bool isIgnored) override;
  void attDef(const xercesc::DTDElementDecl& element, const xercesc::DTDAttDef& attribute,
              bool isIgnored) override;
  void doctypeComment(const XMLCh* comment) override;
  void endIntSubset() override;

 protected:
  xercesc::DOMElement* createElement(const XMLCh* name) override;
  xercesc::DOMAttr* createAttr(const XMLCh* name) override;

 private:
  [[noreturn]] void refuseOutside(const XMLCh* systemId);
  xercesc::DOMElementImpl* currentElement() const;
  void addElement(xercesc::DOMElementImpl& parent, const XMLCh* name,
                  const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount);
  void addText();
  void addTextNode(std::u16string_view text);
  NamedElements& noteName(const XMLCh* pooledName);
  void noteOtherName(std::u16string_view name);
  void noteDeclaredName();

  ParserLimits limits_;
  ElementIndex index_;
  std::size_t declaredNames_ = 0;
  DocumentTraits traits_;
  InternalSubset subset_;
  // Text that has come since the last node; the scanner hands it over in pieces.
  std::u16string text_;
};

}  // namespace vorn
