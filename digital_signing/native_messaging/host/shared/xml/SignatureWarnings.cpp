#include "shared/xml/SignatureWarnings.h"

#include <log4cplus/loggingmacros.h>

#include <map>
#include <string_view>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include "shared/xml/NodeText.h"
#include "shared/xml/QualifiedName.h"
#include "shared/xml/XmlText.h"

namespace vorn {

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

/**
 * Whether the last element inside is a signature: that is where an enveloped one stands, ours at any rate.
 */
bool endsWithSignature(const xercesc::DOMElement& element) {
  const DOMNode* last = element.getLastChild();
  while (last != nullptr && last->getNodeType() != DOMNode::ELEMENT_NODE) last = last->getPreviousSibling();
  return last != nullptr && QualifiedName(viewOf(last->getNodeName())).local == u"Signature";
}

/**
 * An attribute like xml:lang that some verifiers inherit wrongly, or the empty text: one that stands with
 * different values on the element and above it, or one above an element that has others.
 */
std::string doubtfulXmlAttribute(const xercesc::DOMElement& element) {
  std::map<std::u16string_view, std::u16string_view> seen;
  bool hasOwn = false;
  for (const DOMNode* node = &element; node != nullptr; node = node->getParentNode()) {
    const xercesc::DOMNamedNodeMap* attributes = node->getAttributes();
    const XMLSize_t count = attributes != nullptr ? attributes->getLength() : 0;
    for (XMLSize_t i = 0; i < count; ++i) {
      const DOMNode& attribute = *attributes->item(i);
      const std::u16string_view name = viewOf(attribute.getNodeName());
      if (!QualifiedName(name).isXml()) continue;
      const auto [entry, isNew] = seen.try_emplace(name, valueOf(attribute));
      if (isNew ? hasOwn && node != &element : entry->second != valueOf(attribute))
        return toUtf8(name.data());
      hasOwn = hasOwn || node == &element;
    }
  }
  return {};
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
  if (endsWithSignature(element))
    LOG4CPLUS_WARN(logger, "<" << name << "> holds a signature already: the new one breaks it");
  if (const std::string attribute = doubtfulXmlAttribute(element); !attribute.empty()) {
    LOG4CPLUS_WARN(logger, attribute << " stands above <" << name
                                     << "> with another xml: attribute on the way: some verifiers refuse it");
  }
  if (viewOf(element.getOwnerDocument()->getXmlVersion()) == u"1.1")
    LOG4CPLUS_WARN(logger, "The document is XML 1.1: verifiers may refuse it");
}

void warnOfNames(const log4cplus::Logger& logger, const std::string& name, const DoubtfulNames& doubtful) {
  if (!doubtful.relativeNamespace.empty()) {
    LOG4CPLUS_WARN(logger, "The namespace name '" << doubtful.relativeNamespace << "' in the document of <"
                                                  << name << "> is relative: verifiers refuse it");
  }
  if (!doubtful.ampersandNamespace.empty()) {
    LOG4CPLUS_WARN(logger, "The namespace name '" << doubtful.ampersandNamespace << "' in the document of <"
                                                  << name
                                                  << "> holds an ampersand: some verifiers refuse it");
  }
  if (!doubtful.undeclaredPrefix.empty()) {
    LOG4CPLUS_WARN(logger, "The prefix '" << doubtful.undeclaredPrefix << "' in <" << name
                                          << "> is not declared: some verifiers refuse it");
  }
}

}  // namespace vorn
