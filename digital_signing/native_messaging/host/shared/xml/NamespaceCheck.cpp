#include "shared/xml/NamespaceCheck.h"

#include <algorithm>
#include <utility>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include "shared/xml/NamespaceScope.h"
#include "shared/xml/QualifiedName.h"
#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

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

namespace {

bool isLetter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool isDigit(char16_t c) {
  return c >= u'0' && c <= u'9';
}

bool isHexDigit(char16_t c) {
  return isDigit(c) || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

/** Letters, digits, what is in `others`, and escapes like %2F. */
bool isMadeOf(std::u16string_view text, std::u16string_view others) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isLetter(text[i]) || isDigit(text[i]) || others.find(text[i]) != std::u16string_view::npos) continue;
    if (text[i] != u'%' || i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2]))
      return false;
    i += 2;
  }
  return true;
}

/** The text before the first of the characters, which is taken off `rest` with them. */
std::u16string_view takeUntil(std::u16string_view& rest, std::u16string_view ends) {
  const std::u16string_view taken = rest.substr(0, rest.find_first_of(ends));
  rest.remove_prefix(taken.size());
  return taken;
}

bool isScheme(std::u16string_view text) {
  return !text.empty() && isLetter(text[0]) && std::all_of(text.begin(), text.end(), [](char16_t c) {
    return isLetter(c) || isDigit(c) || c == u'+' || c == u'-' || c == u'.';
  });
}

constexpr std::u16string_view kNameCharacters = u"-._~!$&'()*+,;=";

bool isAuthority(std::u16string_view text) {
  if (const std::size_t at = text.find(u'@'); at != std::u16string_view::npos) {
    if (!isMadeOf(text.substr(0, at), u"-._~!$&'()*+,;=:")) return false;
    text.remove_prefix(at + 1);
  }
  const bool isLiteral = text.starts_with(u'[');
  const std::size_t end = isLiteral ? text.find(u']') : text.find(u':');
  if (isLiteral && end == std::u16string_view::npos) return false;
  const std::u16string_view host = text.substr(isLiteral ? 1 : 0, isLiteral ? end - 1 : end);
  if (!isMadeOf(host, isLiteral ? u"-._~!$&'()*+,;=:" : kNameCharacters)) return false;
  text.remove_prefix(isLiteral ? end + 1 : std::min(end, text.size()));
  // libxml2 reads a port into 31 bits; nine digits always fit.
  constexpr std::size_t kLongestPort = 9;
  return text.empty() || (text[0] == u':' && text.size() > 1 && text.size() - 1 <= kLongestPort &&
                          std::all_of(text.begin() + 1, text.end(), isDigit));
}

}  // namespace

bool isAbsoluteUri(std::u16string_view text) {
  const std::size_t colon = text.find(u':');
  if (colon == std::u16string_view::npos || !isScheme(text.substr(0, colon))) return false;
  text.remove_prefix(colon + 1);
  if (text.starts_with(u"//")) {
    text.remove_prefix(2);
    if (!isAuthority(takeUntil(text, u"/?#"))) return false;
  }
  constexpr std::u16string_view kPathCharacters = u"-._~!$&'()*+,;=:@/";
  constexpr std::u16string_view kQueryCharacters = u"-._~!$&'()*+,;=:@/?";
  if (!isMadeOf(takeUntil(text, u"?#"), kPathCharacters)) return false;
  if (text.starts_with(u'?') && !isMadeOf(takeUntil(text, u"#").substr(1), kQueryCharacters)) return false;
  constexpr std::u16string_view kFragmentCharacters = u"-._~!$&'()*+,;=:@/?[]";
  return text.empty() || isMadeOf(text.substr(1), kFragmentCharacters);
}

}  // namespace vorn
