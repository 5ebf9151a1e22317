#include "shared/xml/DocumentElements.h"

#include <vector>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xsec/dsig/DSIGConstants.hpp>

#include "shared/xml/Namespaces.h"
#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

namespace vorn {

using xercesc::DOMNode;

namespace {

/** The index of each document that has one. */
std::unordered_map<const xercesc::DOMDocument*, const ElementIndex*>& indexes() {
  static auto* const table = new std::unordered_map<const xercesc::DOMDocument*, const ElementIndex*>;
  return *table;
}

void declareAll(const DOMNode& node, NamespaceScope& scope) {
  forEachAttribute(node, [&scope](const QualifiedName& name, const DOMNode& attribute) {
    if (name.isDeclaration()) scope.declare({name.declaredPrefix(), valueOf(attribute)});
  });
}

NamespaceScope scopeOf(const DOMNode& element) {
  std::vector<const DOMNode*> around;
  for (const DOMNode* node = &element; node != nullptr; node = node->getParentNode()) around.push_back(node);
  NamespaceScope scope;
  scope.open();
  for (auto node = around.rbegin(); node != around.rend(); ++node) declareAll(**node, scope);
  return scope;
}

}  // namespace

NamedElements findElements(const xercesc::DOMDocument& document, const std::string& name) {
  if (const auto entry = indexes().find(&document); entry != indexes().end())
    return entry->second->find(name);
  const std::u16string wanted = toUtf16(name);
  NamedElements found;
  TreeWalk<DOMNode> walk(document.getDocumentElement());
  for (; walk.node() != nullptr; walk.advance()) {
    DOMNode* const node = walk.node();
    if (walk.leaving() || node->getNodeType() != DOMNode::ELEMENT_NODE) continue;
    if (node->getNodeName() == wanted && found.count++ == 0)
      found.first = static_cast<xercesc::DOMElement*>(node);
  }
  return found;
}

bool comesOutOfEntity(const xercesc::DOMElement& element) {
  const DOMNode* node = &element;
  while (node != nullptr && node->getNodeType() != DOMNode::ENTITY_REFERENCE_NODE)
    node = node->getParentNode();
  return node != nullptr;
}

unsigned levelOf(const xercesc::DOMElement& element) {
  unsigned level = 0;
  for (const DOMNode* node = &element; node != nullptr; node = node->getParentNode())
    if (node->getNodeType() == DOMNode::ELEMENT_NODE) ++level;
  return level;
}

ChildSignatures findSignatures(const xercesc::DOMElement& parent) {
  ChildSignatures found;
  NamespaceScope scope = scopeOf(parent);
  for (const DOMNode* child = parent.getFirstChild(); child != nullptr; child = child->getNextSibling()) {
    if (child->getNodeType() != DOMNode::ELEMENT_NODE) continue;
    const QualifiedName name(viewOf(child->getNodeName()));
    if (name.local != u"Signature") continue;
    scope.open();
    declareAll(*child, scope);
    if (scope.find(name.prefix) == viewOf(DSIGConstants::s_unicodeStrURIDSIG)) {
      found.last = static_cast<const xercesc::DOMElement*>(child);
      ++found.count;
    }
    scope.close();
  }
  return found;
}

ElementIndex::~ElementIndex() {
  if (document_ != nullptr) forget(*document_);
}

void ElementIndex::enter(xercesc::DOMDocument& document) {
  if (document_ != nullptr) forget(*document_);
  names_.clear();
  document_ = &document;
  indexes()[document_] = this;
}

NamedElements ElementIndex::find(const std::string& name) const {
  auto& document = static_cast<xercesc::DOMDocumentImpl&>(*document_);
  const auto entry = names_.find(document.getPooledString(toUtf16(name).c_str()));
  return entry != names_.end() ? entry->second : NamedElements();
}

void ElementIndex::forget(const xercesc::DOMDocument& document) {
  indexes().erase(&document);
}

}  // namespace vorn
