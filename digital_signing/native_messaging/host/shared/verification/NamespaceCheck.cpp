#include "shared/verification/NamespaceCheck.h"

#include <set>
#include <string_view>
#include <utility>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include "shared/xml/NamespaceScope.h"
#include "shared/xml/NodeText.h"
#include "shared/xml/QualifiedName.h"
#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

namespace vorn::verification {

namespace {

using xercesc::DOMNode;

/** Thrown within this file. */
struct Refusal {
  std::string reason;
};

class Check {
 public:
  /** Throws a Refusal. */
  void enter(const DOMNode& node) {
    const std::u16string_view name = viewOf(node.getNodeName());
    if (node.getNodeType() == DOMNode::PROCESSING_INSTRUCTION_NODE && name.find(u':') != name.npos)
      refuse("the processing instruction", name, "has a colon in its name");
    if (node.getNodeType() != DOMNode::ELEMENT_NODE) return;
    scope_.open();
    const xercesc::DOMNamedNodeMap& attributes = *node.getAttributes();
    const XMLSize_t count = attributes.getLength();
    for (XMLSize_t i = 0; i < count; ++i) declare(*attributes.item(i));
    static_cast<void>(namespaceOf(requireName(name)));
    if (count > 1) requireDistinct(attributes, count);
    if (count == 1) static_cast<void>(namespaceOf(requireName(viewOf(attributes.item(0)->getNodeName()))));
  }

  void leave(const DOMNode& node) {
    if (node.getNodeType() == DOMNode::ELEMENT_NODE) scope_.close();
  }

 private:
  [[noreturn]] static void refuse(const char* what, std::u16string_view name, const char* reason) {
    throw Refusal{std::string(what) + " " + toUtf8(std::u16string(name).c_str()) + " " + reason};
  }

  void declare(const DOMNode& attribute) {
    const QualifiedName name(viewOf(attribute.getNodeName()));
    if (!name.isDeclaration()) return;
    const std::u16string_view uri = valueOf(attribute);
    const bool isXmlItself = name.declaredPrefix() == u"xml" && uri == kXmlNamespace;
    if (!isXmlItself && isForbiddenDeclaration(name.declaredPrefix(), uri))
      refuse("the declaration", name.whole, "declares what may not be declared");
    scope_.declare({name.declaredPrefix(), uri});
  }

  static QualifiedName requireName(std::u16string_view whole) {
    const QualifiedName name(whole);
    const std::size_t colon = whole.find(u':');
    if (colon != whole.npos && (name.prefix.empty() || name.local.find(u':') != name.local.npos))
      refuse("the name", whole, "has a colon where none may be");
    return name;
  }

  std::u16string_view namespaceOf(const QualifiedName& name) const {
    if (name.isXml()) return kXmlNamespace;
    if (name.isDeclaration() || name.prefix.empty()) return {};
    const std::u16string_view uri = scope_.find(name.prefix);
    if (uri.empty()) refuse("the prefix of", name.whole, "is not declared");
    return uri;
  }

  void requireDistinct(const xercesc::DOMNamedNodeMap& attributes, XMLSize_t count) {
    std::set<std::pair<std::u16string_view, std::u16string_view>> seen;
    for (XMLSize_t i = 0; i < count; ++i) {
      const QualifiedName name = requireName(viewOf(attributes.item(i)->getNodeName()));
      const std::u16string_view uri = namespaceOf(name);
      if (!uri.empty() && !seen.emplace(uri, name.local).second)
        refuse("the attribute", name.whole, "is there under another prefix too");
    }
  }

  NamespaceScope scope_;
};

}  // namespace

std::optional<std::string> namespaceFaultOf(const xercesc::DOMDocument& document) try {
  Check check;
  for (TreeWalk<const DOMNode> walk(&document); walk.node() != nullptr; walk.advance())
    walk.leaving() ? check.leave(*walk.node()) : check.enter(*walk.node());
  return std::nullopt;
} catch (const Refusal& refusal) {
  return refusal.reason;
}

}  // namespace vorn::verification
