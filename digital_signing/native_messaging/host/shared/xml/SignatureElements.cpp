#include "shared/xml/SignatureElements.h"

#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xsec/dsig/DSIGConstants.hpp>

#include "shared/xml/NamespaceScope.h"
#include "shared/xml/QualifiedName.h"
#include "shared/xml/XmlText.h"

namespace vorn {

using xercesc::DOMNode;

namespace {

void declareAll(const DOMNode& node, NamespaceScope& scope) {
  const xercesc::DOMNamedNodeMap* const attributes = node.getAttributes();
  const XMLSize_t count = attributes != nullptr ? attributes->getLength() : 0;
  for (XMLSize_t i = 0; i < count; ++i) {
    const DOMNode& attribute = *attributes->item(i);
    const QualifiedName name(viewOf(attribute.getNodeName()));
    if (name.isDeclaration()) scope.declare({name.declaredPrefix(), valueOf(attribute)});
  }
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

SignatureElements findSignatures(const xercesc::DOMElement& parent) {
  SignatureElements found;
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

}  // namespace vorn
