#include "shared/xml/Canonicaliser.h"

#include <algorithm>
#include <unordered_set>
#include <xercesc/dom/DOMNode.hpp>

#include "shared/xml/XmlText.h"

namespace vorn {

using xercesc::DOMNode;

namespace {

// A run ends with the node that fills it.
constexpr std::size_t kDigestedRun = std::size_t{64} << 10;

/** Order of the UTF-8 bytes, and so of the code points: in UTF-16 the surrogates stand before U+E000. */
bool codePointLess(std::u16string_view a, std::u16string_view b) {
  const auto [x, y] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  if (y == b.end()) return false;
  if (x == a.end()) return true;
  const auto rank = [](char16_t c) { return c < 0xD800 ? c : (c < 0xE000 ? c + 0x2000U : c - 0x800U); };
  return rank(*x) < rank(*y);
}

}  // namespace

Canonicaliser::Canonicaliser(const xercesc::DOMElement& apex, const DOMNode* omitted)
    : apex_(&apex), omitted_(omitted), walk_(&apex) {}

std::string_view Canonicaliser::next() {
  out_.clear();
  while (walk_.node() != nullptr && out_.size() < kDigestedRun) {
    if (walk_.node() == omitted_) {
      walk_.moveOn();
      continue;
    }
    walk_.leaving() ? leave(*walk_.node()) : enter(*walk_.node());
    walk_.advance();
  }
  return out_;
}

void Canonicaliser::enter(const DOMNode& node) {
  switch (node.getNodeType()) {
    case DOMNode::ELEMENT_NODE:
      startElement(node);
      break;
    case DOMNode::TEXT_NODE:
    case DOMNode::CDATA_SECTION_NODE:
      appendUtf8(out_, charactersOf(node), Escapes::kText);
      break;
    case DOMNode::PROCESSING_INSTRUCTION_NODE: {
      const std::u16string_view data = viewOf(node.getNodeValue());
      out_ += "<?";
      appendUtf8(out_, viewOf(node.getNodeName()), Escapes::kNone);
      if (!data.empty()) out_ += ' ';
      appendUtf8(out_, data, Escapes::kNone);
      out_ += "?>";
      break;
    }
    default:
      break;  // references to entities are what they hold; comments are nothing
  }
}

void Canonicaliser::leave(const DOMNode& node) {
  if (node.getNodeType() != DOMNode::ELEMENT_NODE) return;
  out_ += "</";
  appendUtf8(out_, viewOf(node.getNodeName()), Escapes::kNone);
  out_ += '>';
  scope_.close();
}

void Canonicaliser::startElement(const DOMNode& element) {
  out_ += '<';
  appendUtf8(out_, viewOf(element.getNodeName()), Escapes::kNone);
  declarations_.clear();
  attributes_.clear();
  scope_.open();
  if (&element == apex_) declareInherited();
  declareNamespaces(element);
  if (&element == apex_) settleDeclarations();
  collectAttributes(element);
  if (&element == apex_) collectInherited();
  writeNamespaces();
  writeAttributes();
  out_ += '>';
}

/** The signed element shows all declarations in scope, wherever they stand: the outermost come first. */
void Canonicaliser::declareInherited() {
  std::vector<const DOMNode*> ancestors;
  for (const DOMNode* node = apex_->getParentNode(); node != nullptr; node = node->getParentNode())
    if (node->getNodeType() == DOMNode::ELEMENT_NODE) ancestors.push_back(node);
  for (auto ancestor = ancestors.rbegin(); ancestor != ancestors.rend(); ++ancestor)
    declareNamespaces(**ancestor);
}

/** Leaves in `declarations_` the prefixes that now stand for something else than outside of the element. */
void Canonicaliser::declareNamespaces(const DOMNode& element) {
  forEachAttribute(element, [this](const QualifiedName& name, const DOMNode& attribute) {
    if (!name.isDeclaration()) return;
    const NamespaceScope::Declaration declaration{name.declaredPrefix(), valueOf(attribute)};
    if (isForbiddenDeclaration(declaration.prefix, declaration.uri)) return;
    if (scope_.declare(declaration)) declarations_.push_back(declaration);
  });
}

/** Of what was declared on the way down to the signed element, the last word on each prefix counts. */
void Canonicaliser::settleDeclarations() {
  std::unordered_set<std::u16string_view> seen;
  std::vector<NamespaceScope::Declaration> settled;
  for (const auto& [prefix, uri] : declarations_) {
    const std::u16string_view last = scope_.find(prefix);
    if (!last.empty() && seen.insert(prefix).second) settled.push_back({prefix, last});
  }
  declarations_ = std::move(settled);
}

void Canonicaliser::collectAttributes(const DOMNode& element) {
  forEachAttribute(element, [this](const QualifiedName& name, const DOMNode& attribute) {
    if (name.isDeclaration()) return;
    const std::u16string_view uri =
        name.isXml() ? kXmlNamespace
                     : (name.prefix.empty() ? std::u16string_view() : scope_.find(name.prefix));
    attributes_.push_back({uri, uri.empty() ? name.whole : name.local, &attribute});
  });
}

/** Attributes like xml:lang hold for all that is inside; the nearest of a name counts. */
void Canonicaliser::collectInherited() {
  std::unordered_set<std::u16string_view> seen;
  for (const Attribute& own : attributes_)
    if (own.uri == kXmlNamespace) seen.insert(own.local);
  for (const DOMNode* node = apex_->getParentNode(); node != nullptr; node = node->getParentNode()) {
    forEachAttribute(*node, [&](const QualifiedName& name, const DOMNode& attribute) {
      if (name.isXml() && seen.insert(name.local).second)
        attributes_.push_back({kXmlNamespace, name.local, &attribute});
    });
  }
}

void Canonicaliser::writeNamespaces() {
  std::sort(declarations_.begin(), declarations_.end(),
            [](const auto& a, const auto& b) { return codePointLess(a.prefix, b.prefix); });
  for (const NamespaceScope::Declaration& declaration : declarations_) {
    out_ += declaration.prefix.empty() ? " xmlns" : " xmlns:";
    appendUtf8(out_, declaration.prefix, Escapes::kNone);
    out_ += "=\"";
    appendUtf8(out_, declaration.uri, Escapes::kAttribute);
    out_ += '"';
  }
}

void Canonicaliser::writeAttributes() {
  std::sort(attributes_.begin(), attributes_.end(), [](const Attribute& a, const Attribute& b) {
    return a.uri != b.uri ? codePointLess(a.uri, b.uri) : codePointLess(a.local, b.local);
  });
  for (const Attribute& attribute : attributes_) {
    out_ += ' ';
    appendUtf8(out_, viewOf(attribute.node->getNodeName()), Escapes::kNone);
    out_ += "=\"";
    appendUtf8(out_, valueOf(*attribute.node), Escapes::kAttribute);
    out_ += '"';
  }
}

}  // namespace vorn
