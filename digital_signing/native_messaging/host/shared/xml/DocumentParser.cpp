#include "shared/xml/DocumentParser.h"

#include <algorithm>
#include <xercesc/dom/impl/DOMAttrImpl.hpp>
#include <xercesc/dom/impl/DOMAttrMapImpl.hpp>
#include <xercesc/dom/impl/DOMCasts.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMTextImpl.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/framework/XMLNotationDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/validators/DTD/DTDAttDef.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include "shared/xml/Namespaces.h"
#include "shared/xml/XmlText.h"

namespace vorn {

using xercesc::DOMNode;

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

// In UTF-16 units; a longer text goes into its node in several portions.
constexpr std::size_t kTextPortion = std::size_t{32} << 10;

bool declaresNamespace(const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t count) {
  for (XMLSize_t i = 0; i < count; ++i) {
    const XMLCh* const name = attributes.elementAt(i)->getName();
    if (*name == u'x' && viewOf(name).starts_with(u"xmlns")) return true;
  }
  return false;
}

/** The links of any child to its siblings. */
xercesc::DOMChildNode& siblingsOf(DOMNode& node) {
  switch (node.getNodeType()) {
    case DOMNode::ELEMENT_NODE:
      return static_cast<xercesc::DOMElementImpl&>(node).fChild;
    case DOMNode::TEXT_NODE:
      return static_cast<xercesc::DOMTextImpl&>(node).fChild;
    default:
      return *xercesc::castToChildImpl(&node);
  }
}

/**
 * Ties a new node into the tree as the library's own parser does, with the same result. The library asks for
 * the class of every node it touches by dynamic_cast, several times for each that is added, and that is a
 * third of a parse; here it is known.
 *
 * The nodes are of one document that was parsed without namespace processing, and the child is fresh: without
 * parent or siblings. The first child's link back leads to the last.
 */
template <typename Parent, typename Child>
void append(Parent& parent, Child& child) {
  child.fNode.fOwnerNode = &parent;
  child.fNode.isOwned(true);
  DOMNode*& first = parent.fParent.fFirstChild;
  if (first == nullptr) {
    child.fNode.isFirstChild(true);
    child.fChild.previousSibling = &child;
    first = &child;
    return;
  }
  xercesc::DOMChildNode& ends = siblingsOf(*first);
  siblingsOf(*ends.previousSibling).nextSibling = &child;
  child.fChild.previousSibling = ends.previousSibling;
  ends.previousSibling = &child;
}

}  // namespace

DocumentParser::DocumentParser(ParserMemory& memory, const ExpansionBudget& budget)
    : XercesDOMParser(nullptr, &memory, nullptr),
      limits_(memory, *fScanner, budget),
      subset_(fInternalSubset) {
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
  limits_.refuse("The document refers to '" + excerptOf(viewOf(systemId)) +
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
  XercesDOMParser::doctypeDecl(root, publicId, systemId, hasInternalSubset, hasExternalSubset);
}

void DocumentParser::entityDecl(const xercesc::DTDEntityDecl& declaration, bool isParameterEntity,
                                bool isIgnored) {
  // A declaration that repeats a name is ignored.
  if (!isIgnored) noteDeclaredName();
  limits_.declareEntity(declaration.getValueLen());
  subset_.keep();
  XercesDOMParser::entityDecl(declaration, isParameterEntity, isIgnored);
  // What a reference to a parameter entity brought in stands in the subset itself, so nothing needs the
  // entity any more.
  subset_.replace(isParameterEntity ? std::u16string() : entityDeclarationText(declaration));
}

void DocumentParser::notationDecl(const xercesc::XMLNotationDecl& declaration, bool isIgnored) {
  if (!isIgnored) noteDeclaredName();
  subset_.keep();
  XercesDOMParser::notationDecl(declaration, isIgnored);
  subset_.replace(notationDeclarationText(declaration));
}

void DocumentParser::attDef(const xercesc::DTDElementDecl& element, const xercesc::DTDAttDef& attribute,
                            bool isIgnored) {
  limits_.declareAttribute();
  // The default would add an attribute to an element of a signature, which is then not what was signed.
  if (attribute.getValue() != nullptr && isNamed(kElementsOfSignature, viewOf(element.getFullName()))) {
    limits_.refuse("The document type declares the attribute '" + excerptOf(attribute.getFullName()) +
                   "' for <" + excerptOf(element.getFullName()) + ">, of which signatures are made");
  }
  subset_.keep();
  XercesDOMParser::attDef(element, attribute, isIgnored);
  subset_.replace(attributeDefinitionText(attribute));
  // The tree keeps a table of identifiers, which nobody asks here, and takes quadratic time over those that
  // are equal. A name token is read in the same way.
  if (attribute.getType() == xercesc::XMLAttDef::ID)
    const_cast<xercesc::DTDAttDef&>(attribute).setType(xercesc::XMLAttDef::NmToken);
}

void DocumentParser::doctypeComment(const XMLCh* comment) {
  subset_.keep();
  XercesDOMParser::doctypeComment(comment);
  subset_.replace(std::u16string(u"<!--").append(comment).append(u"-->"));
}

void DocumentParser::endIntSubset() {
  subset_.keep();
  forEachName(subset_.text(), [this](std::u16string_view name) { noteOtherName(name); });
  fInternalSubset.set(subset_.text().c_str());
  XercesDOMParser::endIntSubset();
}

void DocumentParser::startDocument() {
  XercesDOMParser::startDocument();
  index_.enter(*fDocument);
}

void DocumentParser::startElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId,
                                  const XMLCh* prefix,
                                  const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
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

void DocumentParser::endElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, bool isRoot,
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
xercesc::DOMElementImpl* DocumentParser::currentElement() const {
  if (!fWithinElement || fCurrentParent->getNodeType() != DOMNode::ELEMENT_NODE) return nullptr;
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
    append(*attribute, *new (fDocument, xercesc::DOMMemoryManager::TEXT_OBJECT)
                           xercesc::DOMTextImpl(fDocument, value.data(), value.size()));
    attribute->setSpecified(source.getSpecified());
  }
  append(parent, *element);
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

/** Makes a node of the text that has come. The library would make one of the first piece and let it grow with
 * the others; every time it grows, it looks for its old memory among that of all texts so far. */
void DocumentParser::addTextNode(std::u16string_view text) {
  xercesc::DOMElementImpl* const parent = currentElement();
  if (parent == nullptr || fCurrentNode->getNodeType() == DOMNode::TEXT_NODE) {
    XercesDOMParser::docCharacters(text.data(), text.size(), false);
  } else {
    auto* const node = new (fDocument, xercesc::DOMMemoryManager::TEXT_OBJECT)
        xercesc::DOMTextImpl(fDocument, text.data(), text.size());
    append(*parent, *node);
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
  NamedElements& elements = noteName(element->getNodeName());
  if (elements.count++ == 0) elements.first = element;
  return element;
}

xercesc::DOMAttr* DocumentParser::createAttr(const XMLCh* name) {
  xercesc::DOMAttr* attribute = XercesDOMParser::createAttr(name);
  noteName(attribute->getNodeName());
  return attribute;
}

/** Notes a name at the address at which the tree keeps it. */
NamedElements& DocumentParser::noteName(const XMLCh* pooledName) {
  NamedElements& elements = index_.at(pooledName);
  limits_.countNames(nameCount());
  return elements;
}

/** Notes what its characters tell of a name that is in the tree for no element and no attribute. */
void DocumentParser::noteOtherName(std::u16string_view name) {
  traits_.hasLongName = traits_.hasLongName || isLong(name);
  traits_.hasLaterName = traits_.hasLaterName || !isOfFourthEdition(name);
}

/** Notes that there is one more name, which goes with the declarations when they have been read. */
void DocumentParser::noteDeclaredName() {
  ++declaredNames_;
  limits_.countNames(nameCount());
}

DocumentTraits DocumentParser::traits() const {
  DocumentTraits traits = traits_;
  traits.depth = limits_.deepestElement();
  return traits;
}

void DocumentParser::docPI(const XMLCh* target, const XMLCh* data) {
  addText();
  noteOtherName(viewOf(target));
  // A carriage return can come in through an entity, but cannot be written
  // where no character reference can stand.
  std::u16string lines(viewOf(data));
  std::replace(lines.begin(), lines.end(), u'\r', u'\n');
  XercesDOMParser::docPI(target, lines.c_str());
}

void DocumentParser::startEntityReference(const xercesc::XMLEntityDecl& declaration) {
  addText();
  limits_.enterEntity(declaration.getValueLen());
  XercesDOMParser::startEntityReference(declaration);
}

void DocumentParser::endEntityReference(const xercesc::XMLEntityDecl& declaration) {
  addText();
  limits_.leaveEntity();
  XercesDOMParser::endEntityReference(declaration);
}

}  // namespace vorn
