#include "shared/xml/SignatureWarnings.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <xercesc/dom/DOMDocument.hpp>

#include "shared/xml/DocumentElements.h"
#include "shared/xml/Namespaces.h"
#include "shared/xml/ParsedDocument.h"
#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

namespace vorn {

using xercesc::DOMNode;

namespace {

// Of libxml2 unless it is told to be patient: lxml, PHP and xmlsec 1.3 leave it so.
constexpr unsigned kDeepestOfLibxml2 = 256;

/** What the names that occur in a document tell. */
struct NamesSeen {
  bool xmlAttributes = false; /**< xml:lang and its like */
  bool signatures = false;
  bool overlong = false;
  bool later = false; /**< not of the fourth edition */
  bool withPrefix = false;
};

NamesSeen namesOf(const ElementIndex& index) {
  NamesSeen seen;
  index.forEach([&seen](std::u16string_view whole, const NamedElements&) {
    const QualifiedName name(whole);
    seen.xmlAttributes = seen.xmlAttributes || name.isXml();
    seen.signatures = seen.signatures || name.local == u"Signature";
    seen.overlong = seen.overlong || isLong(name.prefix) || isLong(name.local);
    seen.later = seen.later || !isOfFourthEdition(whole);
    seen.withPrefix = seen.withPrefix || whole.find(u':') != std::u16string_view::npos;
  });
  return seen;
}

/** The findings in or around a signed element at which some verifiers stumble; the first of each kind, as
 * UTF-8. */
struct PartFindings {
  /** An attribute like xml:lang that the JDK inherits wrongly: with different values on two of the element
   * and its ancestors, or in scope on an element inside that has others of them but not this one. */
  std::string xmlAttribute;
  std::string ampersandUri; /**< a namespace name in scope that holds "&" */
  bool hasCarriageReturn = false;
  bool hasControl = false; /**< U+0080 to U+009F */
};

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
        noteCharacters(charactersOf(node));
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

/** One pass over the element and what is inside, without recursion. */
PartFindings findingsIn(const xercesc::DOMElement& element) {
  PartReader reader(element);
  for (TreeWalk<const DOMNode> walk(&element); walk.node() != nullptr; walk.advance())
    walk.leaving() ? reader.leave(*walk.node()) : reader.enter(*walk.node());
  return std::move(reader).findings();
}

/** Whether a default namespace is in scope: the nearest declaration counts, and may take it back. */
bool hasDefaultNamespace(const DOMNode& element) {
  for (const DOMNode* node = &element; node != nullptr; node = node->getParentNode()) {
    const xercesc::DOMNamedNodeMap* attributes = node->getAttributes();
    const DOMNode* own = attributes != nullptr ? attributes->getNamedItem(u"xmlns") : nullptr;
    if (own != nullptr) return !valueOf(*own).empty();
  }
  return false;
}

/** Whether an element of this name is above it. */
bool isInside(const xercesc::DOMElement& element, std::u16string_view ancestorName) {
  const DOMNode* ancestor = element.getParentNode();
  while (ancestor != nullptr && viewOf(ancestor->getNodeName()) != ancestorName)
    ancestor = ancestor->getParentNode();
  return ancestor != nullptr;
}

class Warnings {
 public:
  Warnings(ParsedDocument& parsed, SigningStage stage)
      : parsed_(parsed), document_(parsed.document()), stage_(stage), names_(namesOf(parsed.names())) {}

  void ofDocument() {
    if (document_.getDoctype() != nullptr)
      add("document-type", "The document has a document type: verifiers that guard themselves refuse it");
    if (viewOf(document_.getXmlVersion()) == u"1.1")
      add("xml-1.1", "The document is XML 1.1: .NET and others cannot read it");
    else if (names_.later || parsed_.traits().hasLaterName)
      add("name-characters",
          "A name has characters that XML allows since its fifth edition alone: the JDK and others cannot "
          "read it");
    ofNamespaces();
    if (names_.overlong || namespaces_.hasLongUri || parsed_.traits().hasLongName)
      add("long-name", "A name is longer than 1,000 characters: the JDK refuses it");
    ofDepth();
  }

  void ofPart(const std::string& name) {
    const NamedElements found = findElements(document_, name);
    if (found.count != 1) return;
    const xercesc::DOMElement& element = *found.first;
    const std::string part = "<" + name + ">";
    if (hasDefaultNamespace(element)) {
      add("default-namespace", "A default namespace is in scope on " + part +
                                   ": verifiers that read namespaces find no element of this name");
    }
    if (name == "RenderedData" && isInside(element, u"CounterpartData"))
      add("nested-parts", "<RenderedData> lies inside <CounterpartData>: its signature breaks the first one");
    ofSignaturesInside(element, part);
    const bool mayHoldControls = parsed_.traits().mayHoldControls || document_.getDoctype() != nullptr;
    if (!names_.xmlAttributes && !namespaces_.hasAmpersand && !mayHoldControls) return;
    const PartFindings inside = findingsIn(element);
    if (!inside.xmlAttribute.empty()) {
      add("xml-attributes", inside.xmlAttribute + " is in scope around or inside " + part +
                                " in a way that the JDK inherits wrongly: it refuses the signature");
    }
    if (!inside.ampersandUri.empty()) {
      add("namespace-ampersand", "The namespace name '" + inside.ampersandUri + "' in scope in " + part +
                                     " holds an ampersand: verifiers with libxml2 and others refuse it");
    }
    if (inside.hasCarriageReturn) {
      add("carriage-return",
          part + " holds a carriage return: .NET, and whoever writes the document anew, loses it");
    }
    if (inside.hasControl)
      add("control-characters",
          part + " holds control characters, U+0080 to U+009F: viewers differ in what they show");
  }

  void ofAlgorithm(SignatureAlgorithm algorithm) {
    if (algorithm == SignatureAlgorithm::RSA_SHA1)
      add("sha1", "RSA_SHA1 is weak: the JDK and others refuse it");
  }

  std::vector<SignatureWarning> take() && { return std::move(warnings_); }

 private:
  void add(std::string_view code, std::string text) { warnings_.push_back({code, std::move(text)}); }

  void ofNamespaces() {
    const xercesc::DOMElement& root = *document_.getDocumentElement();
    const bool isSettledByRoot =
        !parsed_.traits().declaresNamespacesBelowRoot && (!names_.withPrefix || declaresAllPrefixes(root));
    namespaces_ = checkNamespaces(root, isSettledByRoot ? NamespaceRange::kElement : NamespaceRange::kTree);
    if (!namespaces_.malformed.empty()) {
      add("namespace-form",
          "The document is no XML where namespaces are read, as by the JDK: " + namespaces_.malformed);
    }
    if (!namespaces_.oddUri.empty()) {
      add("namespace-name", "The namespace name '" + namespaces_.oddUri +
                                "' is relative, or no URI: verifiers with libxml2 refuse both signatures");
    }
  }

  /** Whether nothing about any prefix of the document can be wrong that does not show on its root. */
  bool declaresAllPrefixes(const xercesc::DOMElement& root) const {
    std::unordered_set<std::u16string_view> declared;
    std::unordered_set<std::u16string_view> uris;
    bool all = true;
    forEachAttribute(root, [&](const QualifiedName& name, const DOMNode& attribute) {
      if (name.prefix != u"xmlns") return;
      declared.insert(name.local);
      // Two prefixes for one name can make one attribute of two.
      all = uris.insert(valueOf(attribute)).second && all;
    });
    parsed_.names().forEach([&](std::u16string_view whole, const NamedElements&) {
      const QualifiedName name(whole);
      if (name.isDeclaration()) return;
      const bool isKnown = name.prefix.empty() || name.isXml() || declared.contains(name.prefix);
      all = all && isKnown && name.isWellFormed();
    });
    return all;
  }

  void ofDepth() {
    unsigned depth = parsed_.traits().depth;
    for (const char* name : kSignedElements) {
      const NamedElements found = findElements(document_, name);
      if (stage_ == SigningStage::kBefore && found.count == 1)
        depth = std::max(depth, levelOf(*found.first) + kLevelsOfSignature);
    }
    if (depth > kDeepestOfLibxml2) {
      add("deep-nesting", "Elements are nested " + std::to_string(depth) +
                              " deep with the signatures: lxml, PHP and xmlsec 1.3 refuse more than 256");
    }
  }

  void ofSignaturesInside(const xercesc::DOMElement& element, const std::string& part) {
    if (!names_.signatures) return;
    const std::size_t count = findSignatures(element).count;
    if (stage_ == SigningStage::kBefore && count > 0)
      add("signed-already", part + " is signed already: its earlier signature will not verify any more");
    if (stage_ == SigningStage::kAfter && count > 1)
      add("signed-already", part + " was signed before: of its signatures only the last can verify");
  }

  ParsedDocument& parsed_;
  const xercesc::DOMDocument& document_;
  const SigningStage stage_;
  const NamesSeen names_;
  NamespaceFaults namespaces_;
  std::vector<SignatureWarning> warnings_;
};

}  // namespace

std::vector<SignatureWarning> warningsOf(ParsedDocument& parsed, SigningStage stage,
                                         std::optional<SignatureAlgorithm> algorithm) {
  Warnings warnings(parsed, stage);
  warnings.ofDocument();
  for (const char* name : kSignedElements) warnings.ofPart(name);
  if (algorithm) warnings.ofAlgorithm(*algorithm);
  return std::move(warnings).take();
}

}  // namespace vorn
