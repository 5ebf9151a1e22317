#pragma once

#include "shared/xml/InternalSubset.h"
#include "shared/xml/TreeParser.h"

namespace vorn {

/**
 * The parser that can be given any bytes:
 *
 * - every error raises a SAXParseException; the library's parser without an error handler returns the part of
 * the tree that it has, without a word;
 * - nothing outside the document is read; a document that cannot be understood without is in error;
 * - a document type has no external subset, and no default values for attributes of which signatures are
 * made;
 * - memory, time and depth are bounded: see ParserLimits;
 * - the document type's internal subset can be written out and read again with the same meaning.
 */
class DocumentParser : public TreeParser {
 public:
  DocumentParser(ParserMemory& memory, const ExpansionBudget& budget);

  void error(unsigned int code, const XMLCh* domain, xercesc::XMLErrorReporter::ErrTypes type,
             const XMLCh* text, const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line,
             XMLFileLoc column) override;
  xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier* resource) override;

  void doctypeDecl(const xercesc::DTDElementDecl& root, const XMLCh* publicId, const XMLCh* systemId,
                   bool hasInternalSubset, bool hasExternalSubset) override;
  void entityDecl(const xercesc::DTDEntityDecl& declaration, bool isParameterEntity, bool isIgnored) override;
  void notationDecl(const xercesc::XMLNotationDecl& declaration, bool isIgnored) override;
  void attDef(const xercesc::DTDElementDecl& element, const xercesc::DTDAttDef& attribute,
              bool isIgnored) override;
  void doctypeComment(const XMLCh* comment) override;
  void endIntSubset() override;

 private:
  [[noreturn]] void refuseOutside(const XMLCh* systemId);

  InternalSubset subset_;
};

}  // namespace vorn
