#include "shared/xml/DocumentParser.h"

#include <xercesc/framework/XMLNotationDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/validators/DTD/DTDAttDef.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

/** Reaches the scanner's flag for a document that stands alone, which has no setter. */
struct ScannerFlags : xercesc::XMLScanner {
  static constexpr bool xercesc::XMLScanner::*kStandalone = &ScannerFlags::fStandalone;
};

}  // namespace

DocumentParser::DocumentParser(ParserMemory& memory) : TreeParser(memory), subset_(fInternalSubset) {
  fScanner->setErrorReporter(this);
  fScanner->setEntityHandler(this);
  setLoadExternalDTD(false);
  setLoadSchema(false);
}

void DocumentParser::error(unsigned int, const XMLCh*, xercesc::XMLErrorReporter::ErrTypes type,
                           const XMLCh* text, const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line,
                           XMLFileLoc column) {
  if (type == xercesc::XMLErrorReporter::ErrType_Warning) return;
  throw xercesc::SAXParseException(text, publicId, systemId, line, column);
}

xercesc::InputSource* DocumentParser::resolveEntity(xercesc::XMLResourceIdentifier* resource) {
  limits().refuse("The document refers to '" + toUtf8(resource->getSystemId()) +
                  "', and nothing outside the document is read");
}

void DocumentParser::doctypeDecl(const xercesc::DTDElementDecl& root, const XMLCh* publicId,
                                 const XMLCh* systemId, bool hasInternalSubset, bool hasExternalSubset) {
  // What is not declared in the document is not declared at all. Otherwise the scanner drops references to
  // undeclared entities in silence, as a declaration may stand in a part that it has not read.
  fScanner->*ScannerFlags::kStandalone = true;
  TreeParser::doctypeDecl(root, publicId, systemId, hasInternalSubset, hasExternalSubset);
}

void DocumentParser::entityDecl(const xercesc::DTDEntityDecl& declaration, bool isParameterEntity,
                                bool isIgnored) {
  // A declaration that repeats a name is ignored, and its name has no lasting address.
  if (!isIgnored) noteName(declaration.getName());
  limits().declareEntity(declaration.getValueLen());
  subset_.keep();
  TreeParser::entityDecl(declaration, isParameterEntity, isIgnored);
  // What a reference to a parameter entity brought in stands in the subset itself, so nothing needs the
  // entity any more.
  subset_.replace(isParameterEntity ? std::u16string() : entityDeclarationText(declaration));
}

void DocumentParser::notationDecl(const xercesc::XMLNotationDecl& declaration, bool isIgnored) {
  if (!isIgnored) noteName(declaration.getName());
  subset_.keep();
  TreeParser::notationDecl(declaration, isIgnored);
  subset_.replace(notationDeclarationText(declaration));
}

void DocumentParser::attDef(const xercesc::DTDElementDecl& element, const xercesc::DTDAttDef& attribute,
                            bool isIgnored) {
  limits().declareAttribute();
  subset_.keep();
  TreeParser::attDef(element, attribute, isIgnored);
  subset_.replace(attributeDefinitionText(attribute));
  // The tree keeps a table of identifiers, which nobody asks here, and takes quadratic time over those that
  // are equal. A name token is read in the same way.
  if (attribute.getType() == xercesc::XMLAttDef::ID)
    const_cast<xercesc::DTDAttDef&>(attribute).setType(xercesc::XMLAttDef::NmToken);
}

void DocumentParser::doctypeComment(const XMLCh* comment) {
  subset_.keep();
  TreeParser::doctypeComment(comment);
  subset_.replace(std::u16string(u"<!--").append(comment).append(u"-->"));
}

void DocumentParser::endIntSubset() {
  subset_.keep();
  fInternalSubset.set(subset_.text().c_str());
  TreeParser::endIntSubset();
}

}  // namespace vorn
