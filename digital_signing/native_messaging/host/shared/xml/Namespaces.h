#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

namespace vorn {

constexpr std::u16string_view kXmlNamespace = u"http://www.w3.org/XML/1998/namespace";

/** A name as written, split at its first colon. A colon at either end splits nothing. Borrows the text. */
struct QualifiedName {
  explicit QualifiedName(std::u16string_view name);

  /** xmlns or xmlns:prefix */
  bool isDeclaration() const { return prefix == u"xmlns" || whole == u"xmlns"; }
  std::u16string_view declaredPrefix() const { return prefix.empty() ? std::u16string_view() : local; }
  bool isXml() const { return prefix == u"xml"; }
  /** Whether it is one name, or two with a colon between them. */
  bool isWellFormed() const;

  std::u16string_view whole;
  std::u16string_view prefix;
  std::u16string_view local;
};

/** Calls `visit` with name and node of each attribute; nodes that are no elements have none. */
template <typename Visit>
void forEachAttribute(const xercesc::DOMNode& node, Visit visit) {
  const xercesc::DOMNamedNodeMap* attributes = node.getAttributes();
  const XMLSize_t count = attributes != nullptr ? attributes->getLength() : 0;
  for (XMLSize_t i = 0; i < count; ++i) {
    const xercesc::DOMNode& attribute = *attributes->item(i);
    visit(QualifiedName(attribute.getNodeName()), attribute);
  }
}

/** Whether the JDK bears a name, or one half of it, of this length. */
inline bool isLong(std::u16string_view name) {
  constexpr std::size_t kLongestOfJdk = 1000;
  return name.size() > kLongestOfJdk;
}

/** Whether the name was one before XML's fifth edition let nearly all characters in, which the JDK, expat and
 * others never took up. It has to be a name of the fifth. */
bool isOfFourthEdition(std::u16string_view name);

/** Declarations that declare nothing: of the two reserved prefixes and names, and of a prefix that stands for
 * no namespace. Parsers with namespace processing refuse them or, like the one of xmlsec, leave them out. */
bool isForbiddenDeclaration(std::u16string_view prefix, std::u16string_view uri);

/** The namespace declarations in scope at one place of a walk. Opening an element, declaring and looking up
 * cost the same however many declarations are in scope. The texts are borrowed from the tree. */
class NamespaceScope {
 public:
  struct Declaration {
    std::u16string_view prefix;
    std::u16string_view uri;
  };

  void open() { marks_.push_back(undo_.size()); }
  void close();

  /** Binds the prefix in the element opened last. Returns whether that changes what the prefix stands for. */
  bool declare(const Declaration& declaration);

  /** The namespace name; empty if there is none. The default namespace has the empty prefix. */
  std::u16string_view find(std::u16string_view prefix) const;

 private:
  std::unordered_map<std::u16string_view, std::u16string_view> bindings_;
  std::vector<Declaration> undo_;
  std::vector<std::size_t> marks_;
};

/** The faults that a reader with namespace processing finds; the first of each kind, as UTF-8. */
struct NamespaceFaults {
  std::string malformed;     /**< why it is not namespace-well-formed, for people; empty if it is */
  std::string oddUri;        /**< a namespace name that is relative, or no URI; empty if there is none */
  bool hasAmpersand = false; /**< in a namespace name, anywhere */
  bool hasLongUri = false;   /**< as isLong has it */
};

/** How much is looked at. */
enum class NamespaceRange {
  kElement, /**< the declarations and names of one element */
  kTree,    /**< all that is inside as well */
};

/** Checks a tree that was parsed without namespace processing. One pass without recursion. */
NamespaceFaults checkNamespaces(const xercesc::DOMElement& root, NamespaceRange range);

}  // namespace vorn
