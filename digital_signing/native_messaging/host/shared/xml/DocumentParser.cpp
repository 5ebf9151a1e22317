#include "shared/xml/DocumentParser.h"

#include <algorithm>
#include <string>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/impl/DOMAttrImpl.hpp>
#include <xercesc/dom/impl/DOMAttrMapImpl.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMDocumentTypeImpl.hpp>
#include <xercesc/dom/impl/DOMElementImpl.hpp>
#include <xercesc/dom/impl/DOMTextImpl.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLNotationDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDAttDef.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include "shared/Exceptions.h"
#include "shared/xml/InternalSubsetText.h"
#include "shared/xml/NodeLinks.h"
#include "shared/xml/XmlText.h"

namespace {

// Characters that the entities of one document may expand to, and how often and how deeply they may do so.
constexpr XMLSize_t kExpansionBudget = XMLSize_t{16} << 20;
constexpr XMLSize_t kMaximumExpansions = 50000;
// Every level costs the library one more walk through all that stands below.
constexpr unsigned kMaximumEntityDepth = 20;
// The tree keeps all names in a table of 257 chains: a million names took more than two minutes, these take
// 60 ms.
constexpr std::size_t kMaximumNames = 50000;
// The tree sorts the attributes of an element by insertion.
constexpr XMLSize_t kMaximumAttributes = 10000;
// Each attribute-list declaration copies all attributes that its element has so far.
constexpr unsigned kMaximumAttributeDefinitions = 500;
// In UTF-16 units; a longer text goes into its node in several portions.
constexpr std::size_t kTextPortion = std::size_t{32} << 10;

/** Reaches the scanner's flag for a document that stands alone, which has no setter. */
struct ScannerFlags : xercesc::XMLScanner {
  static constexpr bool xercesc::XMLScanner::*kStandalone = &ScannerFlags::fStandalone;
};

}  // namespace

DocumentParser::DocumentParser(ParserMemory& memory)
    : xercesc::XercesDOMParser(nullptr, &memory, nullptr), memory_(memory) {
  memory_.onExcess([this](const std::string& reason) { refuse(reason); });
  fScanner->setErrorReporter(this);
  fScanner->setEntityHandler(this);
  limits_.setEntityExpansionLimit(kMaximumExpansions);
  fScanner->setSecurityManager(&limits_);
  setLoadExternalDTD(false);
  setLoadSchema(false);
}

void DocumentParser::refuse(const std::string& reason) {
  throw xercesc::SAXParseException(toUtf16(reason).c_str(), *fScanner->getLocator());
}

void DocumentParser::error(unsigned int, const XMLCh*, xercesc::XMLErrorReporter::ErrTypes type,
                           const XMLCh* text, const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc line,
                           XMLFileLoc column) {
  if (type == xercesc::XMLErrorReporter::ErrType_Warning) return;
  throw xercesc::SAXParseException(text, publicId, systemId, line, column);
}

xercesc::InputSource* DocumentParser::resolveEntity(xercesc::XMLResourceIdentifier* resource) {
  refuse("The document refers to '" + toUtf8(resource->getSystemId()) +
         "', and nothing outside the document is read");
}

void DocumentParser::startElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId,
                                  const XMLCh* prefix,
                                  const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                                  XMLSize_t attributeCount, bool isEmpty, bool isRoot) {
  if (++elementDepth_ > kMaximumElementDepth) {
    throw InvalidXMLDataException("Request XML data is invalid. Elements are nested too deeply");
  }
  if (attributeCount > kMaximumAttributes) refuse("An element has too many attributes");
  addText();
  xercesc::DOMElementImpl* const parent = currentElement();
  if (parent == nullptr || declaration.hasAttDefs()) {
    XercesDOMParser::startElement(declaration, uriId, prefix, attributes, attributeCount, isEmpty, isRoot);
    return;
  }
  addElement(*parent, declaration.getFullName(), attributes, attributeCount);
  if (isEmpty) endElement(declaration, uriId, isRoot, prefix);
}

void DocumentParser::endElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, bool isRoot,
                                const XMLCh* prefix) {
  --elementDepth_;
  addText();
  xercesc::DOMElementImpl* const element = currentElement();
  if (element == nullptr || isRoot) {
    XercesDOMParser::endElement(declaration, uriId, isRoot, prefix);
    return;
  }
  fCurrentNode = element;
  fCurrentParent = element->fNode.fOwnerNode;
}

/** The innermost open element; null outside of the root, and directly inside an entity reference. */
xercesc::DOMElementImpl* DocumentParser::currentElement() const {
  if (!fWithinElement || fCurrentParent->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) return nullptr;
  return static_cast<xercesc::DOMElementImpl*>(fCurrentParent);
}

/** What the library does for an element of which no declaration says anything, less what that costs there. */
void DocumentParser::addElement(xercesc::DOMElementImpl& parent, const XMLCh* name,
                                const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                                XMLSize_t attributeCount) {
  auto* const element = static_cast<xercesc::DOMElementImpl*>(createElement(name));
  if (attributeCount > 0) element->fAttributes->reserve(attributeCount);
  for (XMLSize_t i = 0; i < attributeCount; ++i) {
    const xercesc::XMLAttr& source = *attributes.elementAt(i);
    auto* const attribute = static_cast<xercesc::DOMAttrImpl*>(createAttr(source.getName()));
    element->fAttributes->setNamedItemFast(attribute);
    const std::u16string_view value = viewOf(source.getValue());
    setOnlyChild(*attribute, *new (fDocument, xercesc::DOMMemoryManager::TEXT_OBJECT)
                                 xercesc::DOMTextImpl(fDocument, value.data(), value.size()));
    attribute->setSpecified(source.getSpecified());
  }
  appendChild(parent, *element);
  fCurrentParent = element;
  fCurrentNode = element;
}

void DocumentParser::docCharacters(const XMLCh* text, XMLSize_t length, bool isCdata) {
  if (isCdata) {
    addText();
    XercesDOMParser::docCharacters(text, length, isCdata);
  } else if (fWithinElement) {
    if (length < kTextPortion) text_.append(text, length);
    if (text_.size() >= kTextPortion || length >= kTextPortion) addText();
    if (length >= kTextPortion) addTextNode({text, length});
  }
}

void DocumentParser::addText() {
  if (text_.empty()) return;
  addTextNode(text_);
  text_.clear();
}

/**
 * Makes a node of the text that has come. The library would make one of the first piece and let it grow with
 * the others; every time it grows, it looks for its old memory among that of all texts so far.
 */
void DocumentParser::addTextNode(std::u16string_view text) {
  xercesc::DOMElementImpl* const parent = currentElement();
  if (parent == nullptr || fCurrentNode->getNodeType() == xercesc::DOMNode::TEXT_NODE) {
    XercesDOMParser::docCharacters(text.data(), text.size(), false);
  } else {
    auto* const node = new (fDocument, xercesc::DOMMemoryManager::TEXT_OBJECT)
        xercesc::DOMTextImpl(fDocument, text.data(), text.size());
    appendChild(*parent, *node);
    fCurrentNode = node;
  }
}

void DocumentParser::ignorableWhitespace(const XMLCh* text, XMLSize_t length, bool isCdata) {
  addText();
  XercesDOMParser::ignorableWhitespace(text, length, isCdata);
}

void DocumentParser::docComment(const XMLCh* text) {
  addText();
  XercesDOMParser::docComment(text);
}

xercesc::DOMElement* DocumentParser::createElement(const XMLCh* name) {
  xercesc::DOMElement* element = XercesDOMParser::createElement(name);
  Elements& elements = countName(element->getNodeName());
  if (elements.count++ == 0) elements.first = element;
  return element;
}

xercesc::DOMAttr* DocumentParser::createAttr(const XMLCh* name) {
  xercesc::DOMAttr* attribute = XercesDOMParser::createAttr(name);
  countName(attribute->getNodeName());
  return attribute;
}

/** Takes a name as the tree keeps it: the same name is the same address. */
DocumentParser::Elements& DocumentParser::countName(const XMLCh* name) {
  const auto [entry, isNew] = names_.try_emplace(name);
  if (isNew && names_.size() > kMaximumNames) refuse("The document has too many names");
  return entry->second;
}

DocumentParser::Elements DocumentParser::elementsNamed(const std::string& elementName) const {
  const auto entry = names_.find(fDocument->getPooledString(toUtf16(elementName).c_str()));
  return entry != names_.end() ? entry->second : Elements();
}

void DocumentParser::docPI(const XMLCh* target, const XMLCh* data) {
  addText();
  // A carriage return can come in through an entity, but cannot be written where no character reference can
  // stand.
  std::u16string lines(viewOf(data));
  std::replace(lines.begin(), lines.end(), u'\r', u'\n');
  XercesDOMParser::docPI(target, lines.c_str());
}

void DocumentParser::startEntityReference(const xercesc::XMLEntityDecl& declaration) {
  addText();
  if (++entityDepth_ > kMaximumEntityDepth) refuse("Entities are nested too deeply");
  expandedText_ += declaration.getValueLen();
  if (expandedText_ > kExpansionBudget) refuse("The document expands too many or too large entities");
  XercesDOMParser::startEntityReference(declaration);
}

void DocumentParser::endEntityReference(const xercesc::XMLEntityDecl& declaration) {
  addText();
  --entityDepth_;
  XercesDOMParser::endEntityReference(declaration);
}

void DocumentParser::doctypeDecl(const xercesc::DTDElementDecl& root, const XMLCh* publicId,
                                 const XMLCh* systemId, bool hasInternalSubset, bool hasExternalSubset) {
  // What is not declared in the document is not declared at all. Otherwise the scanner drops references to
  // undeclared entities in silence, as a declaration may stand in a part that it has not read.
  fScanner->*ScannerFlags::kStandalone = true;
  XercesDOMParser::doctypeDecl(root, publicId, systemId, hasInternalSubset, hasExternalSubset);
}

void DocumentParser::entityDecl(const xercesc::DTDEntityDecl& declaration, bool isParameterEntity,
                                bool isIgnored) {
  // The limit counts expansions; this makes it one of expanded text as well.
  // What is declared again is forgotten again: its name has no lasting address to be counted by.
  if (!isIgnored) countName(declaration.getName());
  longestEntity_ = std::max(longestEntity_, declaration.getValueLen());
  const XMLSize_t limit =
      std::min(kMaximumExpansions, kExpansionBudget / std::max<XMLSize_t>(longestEntity_, 1));
  memory_.limitExpansions(limit);
  limits_.setEntityExpansionLimit(limit);
  fScanner->setSecurityManager(&limits_);

  keepSubsetText();
  XercesDOMParser::entityDecl(declaration, isParameterEntity, isIgnored);
  // What a reference to a parameter entity brought in stands in the subset itself: the entity is done with.
  replaceSubsetText(isParameterEntity ? std::u16string() : entityDeclarationText(declaration));
}

void DocumentParser::notationDecl(const xercesc::XMLNotationDecl& declaration, bool isIgnored) {
  if (!isIgnored) countName(declaration.getName());
  keepSubsetText();
  XercesDOMParser::notationDecl(declaration, isIgnored);
  replaceSubsetText(notationDeclarationText(declaration));
}

void DocumentParser::attDef(const xercesc::DTDElementDecl& element, const xercesc::DTDAttDef& attribute,
                            bool isIgnored) {
  if (++attributeDefinitions_ > kMaximumAttributeDefinitions)
    refuse("The document declares too many attributes");
  keepSubsetText();
  XercesDOMParser::attDef(element, attribute, isIgnored);
  replaceSubsetText(attributeDefinitionText(attribute));
  // The tree keeps a table of identifiers, which nobody asks here, and takes quadratic time over those that
  // are equal. A name token is read in the same way.
  if (attribute.getType() == xercesc::XMLAttDef::ID) {
    const_cast<xercesc::DTDAttDef&>(attribute).setType(xercesc::XMLAttDef::NmToken);
  }
}

void DocumentParser::doctypeComment(const XMLCh* comment) {
  keepSubsetText();
  XercesDOMParser::doctypeComment(comment);
  replaceSubsetText(std::u16string(u"<!--").append(comment).append(u"-->"));
}

void DocumentParser::endIntSubset() {
  keepSubsetText();
  fInternalSubset.set(subsetText_.c_str());
  XercesDOMParser::endIntSubset();
}

void DocumentParser::keepSubsetText() {
  subsetText_.append(fInternalSubset.getRawBuffer() + subsetTaken_);
  subsetTaken_ = fInternalSubset.getLen();
}

void DocumentParser::replaceSubsetText(const std::u16string& text) {
  subsetTaken_ = fInternalSubset.getLen();
  subsetText_ += text;
}
