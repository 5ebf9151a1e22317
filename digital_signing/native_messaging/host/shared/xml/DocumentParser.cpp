#include "shared/xml/DocumentParser.h"

#include <algorithm>
#include <iterator>
#include <xercesc/framework/XMLNotationDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/validators/DTD/DTDAttDef.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include "shared/xml/SignatureElements.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

/** Reaches the scanner's flag for a document that stands alone, which has no setter. */
struct ScannerFlags : xercesc::XMLScanner {
  static constexpr bool xercesc::XMLScanner::* kStandalone = &ScannerFlags::fStandalone;
};

/** Calls `visit` with each name, and each keyword, of the declarations: what is neither in quotes nor in a
 * comment nor told by an instruction. */
template <typename Visit>
void forEachName(std::u16string_view declarations, Visit visit) {
  const auto skipPast = [&declarations](std::u16string_view end) {
    const std::size_t at = declarations.find(end);
    declarations.remove_prefix(at == std::u16string_view::npos ? declarations.size() : at + end.size());
  };
  while (!declarations.empty()) {
    const char16_t first = declarations.front();
    const bool isInstruction = declarations.starts_with(u"<?");
    if (declarations.starts_with(u"<!--")) {
      skipPast(u"-->");
    } else if (first == u'"' || first == u'\'') {
      declarations.remove_prefix(1);
      skipPast({&first, 1});
    } else {
      declarations.remove_prefix(isInstruction ? 2 : 0);
      const std::u16string_view name =
          declarations.substr(0, declarations.find_first_of(u" \t\r\n<>!?()|,*+#\"'"));
      visit(name);
      declarations.remove_prefix(std::max<std::size_t>(name.size(), 1));
      if (isInstruction) skipPast(u"?>");
    }
  }
}

/** A declared default would add an attribute to an element of a signature, which is then not what was signed.
 */
bool isOfSignature(std::u16string_view name) {
  return std::find(std::begin(kElementsOfSignature), std::end(kElementsOfSignature), name) !=
         std::end(kElementsOfSignature);
}

}  // namespace

DocumentParser::DocumentParser(ParserMemory& memory, const ExpansionBudget& budget)
    : TreeParser(memory, budget), subset_(fInternalSubset) {
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
  refuseOutside(resource->getSystemId());
}

void DocumentParser::refuseOutside(const XMLCh* systemId) {
  limits().refuse("The document refers to '" + excerptOf(viewOf(systemId)) +
                  "', and nothing outside the document is read");
}

void DocumentParser::doctypeDecl(const xercesc::DTDElementDecl& root, const XMLCh* publicId,
                                 const XMLCh* systemId, bool hasInternalSubset, bool hasExternalSubset) {
  // Who reads it may see other attributes and texts than were signed, and nobody can know that it is empty.
  if (systemId != nullptr || hasExternalSubset) refuseOutside(systemId);
  // What is not declared in the document is not declared at all. Otherwise the scanner drops references to
  // undeclared entities in silence, as a declaration may stand in a part that it has not read.
  fScanner->*ScannerFlags::kStandalone = true;
  noteOtherName(viewOf(root.getFullName()));
  TreeParser::doctypeDecl(root, publicId, systemId, hasInternalSubset, hasExternalSubset);
}

void DocumentParser::entityDecl(const xercesc::DTDEntityDecl& declaration, bool isParameterEntity,
                                bool isIgnored) {
  // A declaration that repeats a name is ignored.
  if (!isIgnored) noteDeclaredName();
  limits().declareEntity(declaration.getValueLen());
  subset_.keep();
  TreeParser::entityDecl(declaration, isParameterEntity, isIgnored);
  // What a reference to a parameter entity brought in stands in the subset itself, so nothing needs the
  // entity any more.
  subset_.replace(isParameterEntity ? std::u16string() : entityDeclarationText(declaration));
}

void DocumentParser::notationDecl(const xercesc::XMLNotationDecl& declaration, bool isIgnored) {
  if (!isIgnored) noteDeclaredName();
  subset_.keep();
  TreeParser::notationDecl(declaration, isIgnored);
  subset_.replace(notationDeclarationText(declaration));
}

void DocumentParser::attDef(const xercesc::DTDElementDecl& element, const xercesc::DTDAttDef& attribute,
                            bool isIgnored) {
  limits().declareAttribute();
  if (attribute.getValue() != nullptr && isOfSignature(viewOf(element.getFullName()))) {
    limits().refuse("The document type declares the attribute '" + excerptOf(attribute.getFullName()) +
                    "' for <" + excerptOf(element.getFullName()) + ">, of which signatures are made");
  }
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
  forEachName(subset_.text(), [this](std::u16string_view name) { noteOtherName(name); });
  fInternalSubset.set(subset_.text().c_str());
  TreeParser::endIntSubset();
}

}  // namespace vorn
