#include "shared/xml/NamespaceCheck.h"

#include <algorithm>
#include <utility>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include "shared/xml/NamespaceScope.h"
#include "shared/xml/NodeText.h"
#include "shared/xml/QualifiedName.h"
#include "shared/xml/TreeWalk.h"
#include "shared/xml/Uri.h"

namespace vorn {

using xercesc::DOMNode;

namespace {

/** Reserved prefixes and names are bound to each other alone, and a prefix stands for something. */
bool isLegalDeclaration(std::u16string_view prefix, std::u16string_view uri) {
  if (prefix == u"xml") return uri == kXmlNamespace;
  return !isForbiddenDeclaration(prefix, uri);
}

class NamespaceCheck {
 public:
  void enter(const DOMNode& element) {
    scope_.open();
    const xercesc::DOMNamedNodeMap& attributes = *element.getAttributes();
    const XMLSize_t count = attributes.getLength();
    for (XMLSize_t i = 0; i < count; ++i) {
      const DOMNode& attribute = *attributes.item(i);
      const QualifiedName name(viewOf(attribute.getNodeName()));
      if (!name.isDeclaration()) continue;
      checkForm(name);
      declare(name.declaredPrefix(), valueOf(attribute));
    }
    checkName(QualifiedName(viewOf(element.getNodeName())));
    expanded_.clear();
    for (XMLSize_t i = 0; i < count; ++i) {
      const QualifiedName name(viewOf(attributes.item(i)->getNodeName()));
      if (name.isDeclaration()) continue;
      checkName(name);
      if (!name.prefix.empty()) expanded_.emplace_back(scope_.find(name.prefix), name.local);
    }
    std::sort(expanded_.begin(), expanded_.end());
    const auto twice = std::adjacent_find(expanded_.begin(), expanded_.end());
    if (twice != expanded_.end())
      note([&] {
        return "the attribute '" + excerptOf(twice->second) + "' stands twice in an element, by two prefixes";
      });
  }

  void leave() { scope_.close(); }

  NamespaceFaults faults() && { return std::move(faults_); }

 private:
  void declare(std::u16string_view prefix, std::u16string_view uri) {
    faults_.hasAmpersand = faults_.hasAmpersand || uri.find(u'&') != std::u16string_view::npos;
    faults_.hasLongUri = faults_.hasLongUri || isLong(uri);
    if (faults_.oddUri.empty() && !uri.empty() && !isAbsoluteUri(uri)) faults_.oddUri = excerptOf(uri);
    if (isLegalDeclaration(prefix, uri))
      scope_.declare({prefix, uri});
    else
      note([&] { return "the prefix '" + excerptOf(prefix) + "' is declared as '" + excerptOf(uri) + "'"; });
  }

  void checkForm(const QualifiedName& name) {
    if (!name.isWellFormed())
      note([&] { return "'" + excerptOf(name.whole) + "' has a colon where none can be"; });
  }

  void checkName(const QualifiedName& name) {
    checkForm(name);
    if (!name.prefix.empty() && !name.isXml() && scope_.find(name.prefix).empty())
      note([&] { return "the prefix '" + excerptOf(name.prefix) + "' is not declared"; });
  }

  /** A document can have any number of faults; the text is made for the first alone. */
  template <typename Text>
  void note(Text text) {
    if (faults_.malformed.empty()) faults_.malformed = text();
  }

  NamespaceScope scope_;
  NamespaceFaults faults_;
  std::vector<std::pair<std::u16string_view, std::u16string_view>> expanded_;  // namespace and local name
};

}  // namespace

NamespaceFaults checkNamespaces(const xercesc::DOMElement& root, NamespaceRange range) {
  NamespaceCheck check;
  for (TreeWalk<const DOMNode> walk(&root); walk.node() != nullptr; walk.advance()) {
    if (walk.node()->getNodeType() != DOMNode::ELEMENT_NODE) continue;
    walk.leaving() ? check.leave() : check.enter(*walk.node());
    if (range == NamespaceRange::kElement) break;
  }
  return std::move(check).faults();
}

}  // namespace vorn
