#include "shared/xml/TreeParser.h"

#include <algorithm>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/impl/DOMAttrImpl.hpp>
#include <xercesc/dom/impl/DOMAttrMapImpl.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMElementImpl.hpp>
#include <xercesc/dom/impl/DOMTextImpl.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/framework/XMLEntityDecl.hpp>

#include "shared/xml/NodeLinks.h"
#include "shared/xml/ParserMemory.h"
#include "shared/xml/QualifiedName.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

// In UTF-16 units; a longer text goes into its node in several portions.
constexpr std::size_t kTextPortion = std::size_t{32} << 10;

bool declaresNamespace(const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t count) {
  for (XMLSize_t i = 0; i < count; ++i) {
    const XMLCh* const name = attributes.elementAt(i)->getName();
    if (*name == u'x' && viewOf(name).starts_with(u"xmlns")) return true;
  }
  return false;
}

}  // namespace

TreeParser::TreeParser(ParserMemory& memory, const ExpansionBudget& budget)
    : xercesc::XercesDOMParser(nullptr, &memory, nullptr), limits_(memory, *fScanner, budget) {}

void TreeParser::startDocument() {
  XercesDOMParser::startDocument();
  index_.enter(*fDocument);
}

void TreeParser::startElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId,
                              const XMLCh* prefix, const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                              XMLSize_t attributeCount, bool isEmpty, bool isRoot) {
  limits_.enterElement(attributeCount);
  if (!isRoot && !traits_.declaresNamespacesBelowRoot)
    traits_.declaresNamespacesBelowRoot = declaresNamespace(attributes, attributeCount);
  addText();
  xercesc::DOMElementImpl* const parent = currentElement();
  if (parent == nullptr || declaration.hasAttDefs()) {
    XercesDOMParser::startElement(declaration, uriId, prefix, attributes, attributeCount, isEmpty, isRoot);
    return;
  }
  addElement(*parent, declaration.getFullName(), attributes, attributeCount);
  if (isEmpty) endElement(declaration, uriId, isRoot, prefix);
}

void TreeParser::endElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, bool isRoot,
                            const XMLCh* prefix) {
  limits_.leaveElement();
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
xercesc::DOMElementImpl* TreeParser::currentElement() const {
  if (!fWithinElement || fCurrentParent->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) return nullptr;
  return static_cast<xercesc::DOMElementImpl*>(fCurrentParent);
}

/** What the library does for an element of which no declaration says anything, less what that costs there. */
void TreeParser::addElement(xercesc::DOMElementImpl& parent, const XMLCh* name,
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

void TreeParser::docCharacters(const XMLCh* text, XMLSize_t length, bool isCdata) {
  if (isCdata) {
    addText();
    XercesDOMParser::docCharacters(text, length, isCdata);
  } else if (fWithinElement) {
    if (length < kTextPortion) text_.append(text, length);
    if (text_.size() >= kTextPortion || length >= kTextPortion) addText();
    if (length >= kTextPortion) addTextNode({text, length});
  }
}

void TreeParser::addText() {
  if (text_.empty()) return;
  addTextNode(text_);
  text_.clear();
}

/**
 * Makes a node of the text that has come. The library would make one of the first piece and let it grow with
 * the others; every time it grows, it looks for its old memory among that of all texts so far.
 */
void TreeParser::addTextNode(std::u16string_view text) {
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

void TreeParser::ignorableWhitespace(const XMLCh* text, XMLSize_t length, bool isCdata) {
  addText();
  XercesDOMParser::ignorableWhitespace(text, length, isCdata);
}

void TreeParser::docComment(const XMLCh* text) {
  addText();
  XercesDOMParser::docComment(text);
}

xercesc::DOMElement* TreeParser::createElement(const XMLCh* name) {
  xercesc::DOMElement* element = XercesDOMParser::createElement(name);
  NamedElements& elements = noteName(element->getNodeName());
  if (elements.count++ == 0) elements.first = element;
  return element;
}

xercesc::DOMAttr* TreeParser::createAttr(const XMLCh* name) {
  xercesc::DOMAttr* attribute = XercesDOMParser::createAttr(name);
  noteName(attribute->getNodeName());
  return attribute;
}

NamedElements& TreeParser::noteName(const XMLCh* pooledName) {
  NamedElements& elements = index_.at(pooledName);
  limits_.countNames(nameCount());
  return elements;
}

void TreeParser::noteOtherName(std::u16string_view name) {
  traits_.hasLongName = traits_.hasLongName || isLong(name);
  traits_.hasLaterName = traits_.hasLaterName || !isOfFourthEdition(name);
}

void TreeParser::noteDeclaredName() {
  ++declaredNames_;
  limits_.countNames(nameCount());
}

DocumentTraits TreeParser::traits() const {
  DocumentTraits traits = traits_;
  traits.depth = limits_.deepestElement();
  return traits;
}

void TreeParser::docPI(const XMLCh* target, const XMLCh* data) {
  addText();
  noteOtherName(viewOf(target));
  // A carriage return can come in through an entity, but cannot be written
  // where no character reference can stand.
  std::u16string lines(viewOf(data));
  std::replace(lines.begin(), lines.end(), u'\r', u'\n');
  XercesDOMParser::docPI(target, lines.c_str());
}

void TreeParser::startEntityReference(const xercesc::XMLEntityDecl& declaration) {
  addText();
  limits_.enterEntity(declaration.getValueLen());
  XercesDOMParser::startEntityReference(declaration);
}

void TreeParser::endEntityReference(const xercesc::XMLEntityDecl& declaration) {
  addText();
  limits_.leaveEntity();
  XercesDOMParser::endEntityReference(declaration);
}

}  // namespace vorn
