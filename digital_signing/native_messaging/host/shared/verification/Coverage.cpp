#include "shared/verification/Coverage.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "shared/xml/Namespaces.h"
#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

namespace vorn::verification {

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr std::size_t kMostPlaces = 20;
// In bytes.
constexpr std::size_t kLongestPath = 2000;

/** The name, with its number among the siblings of that name if there are others. */
std::string stepTo(const DOMNode& node) {
  const std::u16string_view name = viewOf(node.getNodeName());
  const DOMNode* const parent = node.getParentNode();
  std::size_t number = 0;
  std::size_t count = 0;
  for (const DOMNode* child = parent != nullptr ? parent->getFirstChild() : nullptr; child != nullptr;
       child = child->getNextSibling()) {
    if (child->getNodeType() != DOMNode::ELEMENT_NODE || viewOf(child->getNodeName()) != name) continue;
    ++count;
    if (child == &node) number = count;
  }
  return "/" + toUtf8(node.getNodeName()) + (count > 1 ? "[" + std::to_string(number) + "]" : "");
}

/** Names can be as long as the document, and there may be many in a path and many paths to show. */
std::string shortened(std::string path) {
  if (path.size() <= kLongestPath) return path;
  std::size_t head = kLongestPath / 2;
  std::size_t tail = path.size() - kLongestPath / 2;
  while (continuesCharacter(path[head])) --head;
  while (continuesCharacter(path[tail])) ++tail;
  return path.replace(head, tail - head, "...");
}

std::string pathTo(const DOMNode* node) {
  std::vector<std::string> steps;
  for (; node != nullptr && node->getNodeType() != DOMNode::DOCUMENT_NODE; node = node->getParentNode())
    if (node->getNodeType() == DOMNode::ELEMENT_NODE) steps.push_back(stepTo(*node));
  std::string path;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) path += *step;
  return shortened(std::move(path));
}

class Survey {
 public:
  Survey(const std::vector<const DOMElement*>& signedElements, const DOMNode& document)
      : signed_(signedElements.begin(), signedElements.end()), walk_(&document) {
    for (const DOMElement* element : signedElements)
      for (const DOMNode* node = element->getParentNode(); node != nullptr; node = node->getParentNode())
        around_.insert(node);
  }

  Uncovered take() {
    while (walk_.node() != nullptr) {
      const DOMNode& node = *walk_.node();
      const bool isWhole = !walk_.leaving() && visit(node);
      isWhole ? walk_.moveOn() : walk_.advance();
    }
    return std::move(result_);
  }

 private:
  /** Returns whether nothing more is to be said of what the node holds. */
  bool visit(const DOMNode& node) {
    switch (node.getNodeType()) {
      case DOMNode::ELEMENT_NODE:
        if (signed_.count(&node) != 0) {
          noteComments(node);
          return true;
        }
        if (around_.count(&node) == 0) {
          note([&] { return pathTo(&node); });
          return true;
        }
        noteAttributes(node);
        return false;
      case DOMNode::TEXT_NODE:
      case DOMNode::CDATA_SECTION_NODE:
        if (charactersOf(node).find_first_not_of(u" \t\r\n") != std::u16string_view::npos)
          note([&] { return pathTo(node.getParentNode()) + "/text()"; });
        return true;
      case DOMNode::PROCESSING_INSTRUCTION_NODE:
        note([&] {
          return pathTo(node.getParentNode()) + "/processing-instruction(" + toUtf8(node.getNodeName()) + ")";
        });
        return true;
      default:
        return false;
    }
  }

  template <typename Path>
  void note(Path path) {
    if (result_.places.size() < kMostPlaces)
      result_.places.push_back(path());
    else
      ++result_.more;
  }

  void noteAttributes(const DOMNode& element) {
    forEachAttribute(element, [&](const QualifiedName& name, const DOMNode&) {
      if (!name.isDeclaration() && !name.isXml())
        note([&] { return pathTo(&element) + "/@" + toUtf8(name.whole); });
    });
  }

  void noteComments(const DOMNode& part) {
    bool found = false;
    for (TreeWalk<const DOMNode> walk(&part); walk.node() != nullptr && !found; walk.advance())
      found = walk.node()->getNodeType() == DOMNode::COMMENT_NODE;
    if (found) note([&] { return pathTo(&part) + "//comment()"; });
  }

  std::set<const DOMNode*> signed_;
  std::set<const DOMNode*> around_;
  TreeWalk<const DOMNode> walk_;
  Uncovered result_;
};

}  // namespace

std::string pathOf(const DOMElement& element) {
  return pathTo(&element);
}

Uncovered uncoveredBy(const std::vector<const DOMElement*>& signedElements,
                      const xercesc::DOMDocument& document) {
  return Survey(signedElements, document).take();
}

}  // namespace vorn::verification
