#include "shared/xml/DocumentElements.h"

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

std::vector<xercesc::DOMElement*> findElements(const xercesc::DOMDocument& document, const std::string& name,
                                               std::size_t limit) {
  const std::u16string wanted = toUtf16(name);
  std::vector<xercesc::DOMElement*> found;
  TreeWalk<xercesc::DOMNode> walk(document.getDocumentElement());
  for (; walk.node() != nullptr && found.size() < limit; walk.advance()) {
    xercesc::DOMNode* node = walk.node();
    if (walk.leaving() || node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE) continue;
    if (node->getNodeName() == wanted) found.push_back(static_cast<xercesc::DOMElement*>(node));
  }
  return found;
}
