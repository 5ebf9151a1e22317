#include "shared/xml/SignatureWarnings.h"

#include <log4cplus/loggingmacros.h>

#include <string_view>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include "shared/xml/XmlText.h"

using xercesc::DOMNode;

namespace {

const DOMNode* ancestorNamed(const DOMNode& node, std::u16string_view name) {
  const DOMNode* ancestor = node.getParentNode();
  while (ancestor != nullptr && viewOf(ancestor->getNodeName()) != name) ancestor = ancestor->getParentNode();
  return ancestor;
}

bool hasDefaultNamespace(const xercesc::DOMElement& element) {
  for (const DOMNode* node = &element; node != nullptr; node = node->getParentNode()) {
    if (node->getNodeType() != DOMNode::ELEMENT_NODE) continue;
    const auto* declaration = static_cast<const xercesc::DOMElement*>(node)->getAttributeNode(u"xmlns");
    if (declaration != nullptr) return !viewOf(declaration->getValue()).empty();
  }
  return false;
}

}  // namespace

void warnOfVerifiers(const log4cplus::Logger& logger, const xercesc::DOMElement& element,
                     const std::string& name) {
  if (hasDefaultNamespace(element)) {
    LOG4CPLUS_WARN(logger, "A default namespace is in scope on <"
                               << name << ">: namespace-aware verifiers will not find <" << name << ">");
  }
  if (name == "RenderedData" && ancestorNamed(element, u"CounterpartData") != nullptr) {
    LOG4CPLUS_WARN(logger,
                   "<RenderedData> lies inside <CounterpartData>: its signature breaks the first one");
  }
  if (viewOf(element.getOwnerDocument()->getXmlVersion()) == u"1.1") {
    LOG4CPLUS_WARN(logger, "The document is XML 1.1: verifiers may refuse it");
  }
}

void warnOfRelativeNamespace(const log4cplus::Logger& logger, const std::string& name,
                             const std::string& uri) {
  if (uri.empty()) return;
  LOG4CPLUS_WARN(logger, "The namespace name '" << uri << "' in the document of <" << name
                                                << "> is relative: verifiers refuse it");
}
