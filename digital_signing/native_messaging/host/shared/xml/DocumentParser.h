#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/SecurityManager.hpp>

#include "shared/xml/ParserMemory.h"

XERCES_CPP_NAMESPACE_BEGIN
class DOMElementImpl;
XERCES_CPP_NAMESPACE_END

/**
 * The DOM parser at its defaults (no namespace processing, no validation, entity references and CDATA
 * sections kept as nodes), but one that can be given any bytes:
 *
 * - every error raises a SAXParseException; the library's parser without an error handler returns the part of
 * the tree that it has, without a word;
 * - nothing outside the document is read; a document that cannot be understood without is in error;
 * - memory, time and depth are bounded, and time grows with the length alone;
 * - the document type's internal subset can be written out and read again with the same meaning.
 *
 * Elements nested too deeply raise an InvalidXMLDataException. The memory has to outlive the parser.
 */
class DocumentParser : public xercesc::XercesDOMParser {
 public:
  static constexpr unsigned kMaximumElementDepth = 1000;
  /** All that a parse may have allocated at one time; 10 MiB of `<a/>`, which stay below, need 0.5 GB. */
  static constexpr std::size_t kMaximumBytes = std::size_t{1} << 30;
  /** What a document of so many bytes may take: elements of four bytes, the worst of the harmless, take 80 a
   * byte. */
  static constexpr std::size_t memoryFor(std::size_t documentBytes) {
    constexpr std::size_t kBase = std::size_t{128} << 20;
    constexpr std::size_t kPerByte = 128;
    return documentBytes < (kMaximumBytes - kBase) / kPerByte ? kBase + kPerByte * documentBytes
                                                              : kMaximumBytes;
  }

  /** The elements of one name, as written. */
  struct Elements {
    std::size_t count = 0;
    xercesc::DOMElement* first = nullptr;
  };

  explicit DocumentParser(ParserMemory& memory);

  /** What the document has of `elementName`, without another walk through it. */
  Elements elementsNamed(const std::string& elementName) const;

  void error(unsigned int code, const XMLCh* domain, xercesc::XMLErrorReporter::ErrTypes type,
             const XMLCh* text, const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line,
             XMLFileLoc column) override;
  xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier* resource) override;

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
  [[noreturn]] void refuse(const std::string& reason);
  Elements& countName(const XMLCh* name);
  xercesc::DOMElementImpl* currentElement() const;
  void addElement(xercesc::DOMElementImpl& parent, const XMLCh* name,
                  const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount);
  void addText();
  void addTextNode(std::u16string_view text);
  void keepSubsetText();
  void replaceSubsetText(const std::u16string& text);

  ParserMemory& memory_;
  xercesc::SecurityManager limits_;
  XMLSize_t longestEntity_ = 0;
  XMLSize_t expandedText_ = 0;
  unsigned elementDepth_ = 0;
  unsigned entityDepth_ = 0;
  unsigned attributeDefinitions_ = 0;
  std::unordered_map<const XMLCh*, Elements> names_;
  // Text that has come since the last node; the scanner hands it over in pieces.
  std::u16string text_;
  // The internal subset to write: the library's text, but for the declarations that it writes wrongly.
  std::u16string subsetText_;
  XMLSize_t subsetTaken_ = 0;
};
