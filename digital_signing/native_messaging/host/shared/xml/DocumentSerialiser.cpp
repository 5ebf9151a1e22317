#include "shared/xml/DocumentSerialiser.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <xercesc/dom/DOMDocumentType.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/framework/XMLFormatter.hpp>

#include "shared/xml/TreeWalk.h"
#include "shared/xml/XmlText.h"

namespace vorn {

using xercesc::DOMNode;

namespace {

// In bytes; a run ends with the node that fills it.
constexpr std::size_t kWrittenRun = std::size_t{64} << 10;

/** Whether the text holds a line end other than the line feed. In blocks, which compilers take many at a
 * time. */
bool holdsLineEnd(std::u16string_view text) {
  constexpr std::size_t kBlock = 4096;
  for (; !text.empty(); text.remove_prefix(std::min(kBlock, text.size()))) {
    bool found = false;
    for (const char16_t c : text.substr(0, kBlock)) found |= (c == u'\r') | (c == 0x85) | (c == 0x2028);
    if (found) return true;
  }
  return false;
}

class Writer {
 public:
  Writer(const xercesc::DOMDocument& document, xercesc::XMLFormatTarget& target)
      : document_(document), target_(target), isXml11_(viewOf(document.getXmlVersion()) == u"1.1") {}

  void write() {
    for (TreeWalk<const DOMNode> walk(&document_); walk.node() != nullptr; walk.advance()) {
      walk.leaving() ? leave(*walk.node()) : enter(*walk.node());
      if (out_.size() >= kWrittenRun) handOver();
    }
    handOver();
  }

 private:
  void handOver() {
    target_.writeChars(reinterpret_cast<const XMLByte*>(out_.data()), out_.size(), nullptr);
    out_.clear();
  }

  void enter(const DOMNode& node) {
    switch (node.getNodeType()) {
      case DOMNode::DOCUMENT_NODE:
        return writeDeclaration();
      case DOMNode::DOCUMENT_TYPE_NODE:
        return writeDoctype(static_cast<const xercesc::DOMDocumentType&>(node));
      case DOMNode::ELEMENT_NODE:
        return startElement(node);
      case DOMNode::TEXT_NODE:
        return writeEscaped(charactersOf(node), Escapes::kDocumentText);
      case DOMNode::CDATA_SECTION_NODE:
        return writeCdata(charactersOf(node));
      case DOMNode::COMMENT_NODE:
        return write("<!--", node.getNodeValue(), "-->");
      case DOMNode::PROCESSING_INSTRUCTION_NODE:
        write("<?", node.getNodeName(), viewOf(node.getNodeValue()).empty() ? "" : " ");
        return write("", node.getNodeValue(), "?>");
      default:
        return;
    }
  }

  void leave(const DOMNode& node) {
    if (node.getNodeType() == DOMNode::ELEMENT_NODE && node.getFirstChild() != nullptr)
      write("</", node.getNodeName(), ">");
  }

  void write(const char* before, std::u16string_view text, const char* after) {
    out_ += before;
    appendUtf8(out_, text, Escapes::kNone);
    out_ += after;
  }
  void write(const char* before, const XMLCh* text, const char* after) { write(before, viewOf(text), after); }

  void writeDeclaration() {
    out_ += isXml11_ ? "<?xml version=\"1.1\"" : "<?xml version=\"1.0\"";
    out_ += " encoding=\"UTF-8\" standalone=";
    out_ += document_.getXmlStandalone() ? "\"yes\" ?>" : "\"no\" ?>";
  }

  /** The parser takes no document type that refers to something outside of it. */
  void writeDoctype(const xercesc::DOMDocumentType& doctype) {
    write("<!DOCTYPE ", doctype.getName(), "");
    if (!viewOf(doctype.getInternalSubset()).empty()) write(" [", doctype.getInternalSubset(), "]");
    out_ += '>';
  }

  void startElement(const DOMNode& element) {
    write("<", element.getNodeName(), "");
    const xercesc::DOMNamedNodeMap* attributes = element.getAttributes();
    for (XMLSize_t i = 0, count = attributes->getLength(); i < count; ++i) {
      const DOMNode* attribute = attributes->item(i);
      write(" ", attribute->getNodeName(), "=\"");
      writeEscaped(valueOf(*attribute), Escapes::kDocumentAttribute);
      out_ += '"';
    }
    out_ += element.getFirstChild() != nullptr ? ">" : "/>";
  }

  void writeCdata(std::u16string_view text) {
    // No reference can stand in a CDATA section, so what needs one is written as text.
    if (holdsLineEnd(text) || isXml11_)
      writeEscaped(text, Escapes::kDocumentText);
    else
      write("<![CDATA[", text, "]]>");
  }

  void writeEscaped(std::u16string_view rest, Escapes escapes) {
    if (isXml11_) {
      // XML 1.1 takes control characters as references only, and reads two more characters as line ends.
      const auto needsReference = [](char16_t c) {
        return (c < 0x20 && c != u'\t' && c != u'\n' && c != u'\r') || (c >= 0x7F && c < 0xA0) || c == 0x2028;
      };
      for (auto next = std::find_if(rest.begin(), rest.end(), needsReference); next != rest.end();
           next = std::find_if(rest.begin(), rest.end(), needsReference)) {
        const auto run = static_cast<std::size_t>(next - rest.begin());
        appendUtf8(out_, rest.substr(0, run), escapes);
        out_ += "&#" + std::to_string(static_cast<unsigned>(*next)) + ";";
        rest.remove_prefix(run + 1);
      }
    }
    appendUtf8(out_, rest, escapes);
  }

  const xercesc::DOMDocument& document_;
  xercesc::XMLFormatTarget& target_;
  const bool isXml11_;
  std::string out_;
};

}  // namespace

void writeDocument(const xercesc::DOMDocument& document, const xercesc::DOMLSOutput& output) {
  Writer(document, *output.getByteStream()).write();
}

}  // namespace vorn
