#include "shared/xml/NodeLinks.h"

#include <xercesc/dom/impl/DOMAttrImpl.hpp>
#include <xercesc/dom/impl/DOMCasts.hpp>
#include <xercesc/dom/impl/DOMElementImpl.hpp>
#include <xercesc/dom/impl/DOMTextImpl.hpp>

namespace vorn {

using xercesc::DOMNode;

namespace {

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

/** The first child's link back leads to the last. */
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

void appendChild(xercesc::DOMElementImpl& parent, xercesc::DOMElementImpl& child) {
  append(parent, child);
}

void appendChild(xercesc::DOMElementImpl& parent, xercesc::DOMTextImpl& child) {
  append(parent, child);
}

void setOnlyChild(xercesc::DOMAttrImpl& attribute, xercesc::DOMTextImpl& text) {
  append(attribute, text);
}

}  // namespace vorn
