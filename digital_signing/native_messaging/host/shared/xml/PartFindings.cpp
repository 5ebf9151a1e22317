#include "shared/xml/PartFindings.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include "shared/xml/QualifiedName.h"
#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

namespace vorn {

using xercesc::DOMNode;

namespace {

/** Calls `visit` with name and node of each attribute; other nodes than elements have none. */
template <typename Visit>
void forEachAttribute(const DOMNode& node, Visit visit) {
  const xercesc::DOMNamedNodeMap* attributes = node.getAttributes();
  const XMLSize_t count = attributes != nullptr ? attributes->getLength() : 0;
  for (XMLSize_t i = 0; i < count; ++i) {
    const DOMNode& attribute = *attributes->item(i);
    visit(QualifiedName(viewOf(attribute.getNodeName())), attribute);
  }
}

/** The declaration of the prefix on the node itself, or null. */
const DOMNode* declarationOn(const DOMNode& node, std::u16string_view prefix) {
  const DOMNode* declaration = nullptr;
  forEachAttribute(node, [&](const QualifiedName& name, const DOMNode& attribute) {
    if (name.isDeclaration() && name.declaredPrefix() == prefix) declaration = &attribute;
  });
  return declaration;
}

/** The namespace that the prefix stands for on the node, declared there or above; empty if none is. */
std::u16string_view namespaceOf(const DOMNode& node, std::u16string_view prefix) {
  for (const DOMNode* at = &node; at != nullptr; at = at->getParentNode())
    if (const DOMNode* declaration = declarationOn(*at, prefix)) return valueOf(*declaration);
  return {};
}

class PartReader {
 public:
  explicit PartReader(const DOMNode& part) : part_(part) {
    std::unordered_set<std::u16string_view> prefixes;
    std::unordered_map<std::u16string_view, std::u16string_view> values;
    for (const DOMNode* node = &part; node != nullptr; node = node->getParentNode()) {
      forEachAttribute(*node, [&](const QualifiedName& name, const DOMNode& attribute) {
        if (name.isDeclaration() && prefixes.insert(name.declaredPrefix()).second)
          noteUri(valueOf(attribute));
        if (!name.isXml()) return;
        if (values.try_emplace(name.local, valueOf(attribute)).first->second != valueOf(attribute))
          noteXmlAttribute(name.whole);
        if (node != &part) ++inScope_[name.whole];
      });
    }
  }

  void enter(const DOMNode& node) {
    switch (node.getNodeType()) {
      case DOMNode::TEXT_NODE:
      case DOMNode::CDATA_SECTION_NODE:
        noteCharacters(textOf(node));
        break;
      case DOMNode::PROCESSING_INSTRUCTION_NODE:
        noteCharacters(viewOf(node.getNodeValue()));
        break;
      case DOMNode::ELEMENT_NODE:
        enterElement(node);
        break;
      default:
        break;
    }
  }

  void leave(const DOMNode& node) {
    forEachAttribute(node, [this](const QualifiedName& name, const DOMNode&) {
      if (!name.isXml()) return;
      const auto entry = inScope_.find(name.whole);
      if (--entry->second == 0) inScope_.erase(entry);
    });
  }

  PartFindings findings() && { return std::move(found_); }

 private:
  void enterElement(const DOMNode& element) {
    own_.clear();
    forEachAttribute(element, [this](const QualifiedName& name, const DOMNode& attribute) {
      const std::u16string_view value = valueOf(attribute);
      noteCharacters(value);
      if (name.isDeclaration()) noteUri(value);
      if (name.isXml()) own_.push_back(name.whole);
    });
    if (own_.empty()) return;
    std::sort(own_.begin(), own_.end());
    for (const auto& [name, count] : inScope_) {
      // The signed element itself takes up what is in scope, as it should.
      if (&element == &part_ || !found_.xmlAttribute.empty()) break;
      if (!std::binary_search(own_.begin(), own_.end(), name)) noteXmlAttribute(name);
    }
    for (const std::u16string_view name : own_) ++inScope_[name];
  }

  void noteCharacters(std::u16string_view text) {
    bool isReturn = false, isControl = false;
    for (const char16_t c : text) {
      isReturn |= c == u'\r';
      isControl |= c >= 0x80 && c < 0xA0;
    }
    found_.hasCarriageReturn |= isReturn;
    found_.hasControl |= isControl;
  }

  void noteUri(std::u16string_view uri) {
    if (found_.ampersandUri.empty() && uri.find(u'&') != std::u16string_view::npos)
      found_.ampersandUri = excerptOf(uri);
  }

  void noteXmlAttribute(std::u16string_view name) {
    if (found_.xmlAttribute.empty()) found_.xmlAttribute = excerptOf(name);
  }

  const DOMNode& part_;
  PartFindings found_;
  // The xml: attributes of the elements above, with how many of these have them.
  std::unordered_map<std::u16string_view, std::size_t> inScope_;
  std::vector<std::u16string_view> own_;
};

}  // namespace

PartFindings findingsIn(const xercesc::DOMElement& element) {
  PartReader reader(element);
  for (TreeWalk<const DOMNode> walk(&element); walk.node() != nullptr; walk.advance())
    walk.leaving() ? reader.leave(*walk.node()) : reader.enter(*walk.node());
  return std::move(reader).findings();
}

bool hasDefaultNamespace(const xercesc::DOMElement& element) {
  return !namespaceOf(element, u"").empty();
}

bool isInside(const xercesc::DOMElement& element, std::u16string_view ancestorName) {
  const DOMNode* ancestor = element.getParentNode();
  while (ancestor != nullptr && viewOf(ancestor->getNodeName()) != ancestorName)
    ancestor = ancestor->getParentNode();
  return ancestor != nullptr;
}

unsigned levelOf(const xercesc::DOMElement& element) {
  unsigned level = 0;
  for (const DOMNode* node = &element; node != nullptr; node = node->getParentNode())
    if (node->getNodeType() == DOMNode::ELEMENT_NODE) ++level;
  return level;
}

}  // namespace vorn
