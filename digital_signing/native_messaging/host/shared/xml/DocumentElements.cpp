#include "shared/xml/DocumentElements.h"

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>

#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

/** The index of each document that has one. */
std::unordered_map<const xercesc::DOMDocument*, const ElementIndex*>& indexes() {
  static auto* const table = new std::unordered_map<const xercesc::DOMDocument*, const ElementIndex*>;
  return *table;
}

}  // namespace

NamedElements findElements(const xercesc::DOMDocument& document, const std::string& name) {
  if (const auto entry = indexes().find(&document); entry != indexes().end())
    return entry->second->find(name);
  const std::u16string wanted = toUtf16(name);
  NamedElements found;
  TreeWalk<xercesc::DOMNode> walk(document.getDocumentElement());
  for (; walk.node() != nullptr; walk.advance()) {
    xercesc::DOMNode* const node = walk.node();
    if (walk.leaving() || node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) continue;
    if (node->getNodeName() == wanted && found.count++ == 0)
      found.first = static_cast<xercesc::DOMElement*>(node);
  }
  return found;
}

bool comesOutOfEntity(const xercesc::DOMElement& element) {
  const xercesc::DOMNode* node = &element;
  while (node != nullptr && node->getNodeType() != xercesc::DOMNode::ENTITY_REFERENCE_NODE)
    node = node->getParentNode();
  return node != nullptr;
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
