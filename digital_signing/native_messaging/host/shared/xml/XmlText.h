#pragma once

#include <string>
#include <string_view>
#include <xercesc/dom/DOMCharacterData.hpp>

#include "shared/text/Utf8.h"

namespace vorn {

/** The characters that become references. */
enum class Escapes {
  kNone,
  // In canonical XML.
  kText,       // & < > and the carriage return
  kAttribute,  // & < " and tab, line feed, carriage return
  // In a document: also U+0085 and U+2028, which some parsers take for line ends.
  kDocumentText,
  kDocumentAttribute,
};

/** Appends UTF-16 text to `out` as UTF-8, with the characters that the place forbids escaped. */
void appendUtf8(std::string& out, std::u16string_view text, Escapes escapes);

/** A view of a zero-ended text of the XML libraries; empty for a null pointer. */
inline std::u16string_view viewOf(const XMLCh* text) {
  return text != nullptr ? std::u16string_view(text) : std::u16string_view();
}

/** Text between the UTF-16 of the XML libraries and the UTF-8 of everything else. */
std::string toUtf8(std::u16string_view text);
inline std::string toUtf8(const XMLCh* text) {
  return toUtf8(viewOf(text));
}
std::u16string toUtf16(const std::string& text);

/** For a message: an excerpt in UTF-8. */
inline std::string excerptOf(std::u16string_view text) {
  return excerptOf(toUtf8(text));
}

/** The text of a text node or CDATA section, whose length the node knows. */
inline std::u16string_view charactersOf(const xercesc::DOMNode& node) {
  const auto& text = static_cast<const xercesc::DOMCharacterData&>(node);
  return {text.getData(), text.getLength()};
}

/** The attribute's value as its own function gives it, but without a copy where a text is the only child. */
inline std::u16string_view valueOf(const xercesc::DOMNode& attribute) {
  const xercesc::DOMNode* child = attribute.getFirstChild();
  const bool isPlain = child != nullptr && child->getNodeType() == xercesc::DOMNode::TEXT_NODE &&
                       child->getNextSibling() == nullptr;
  return isPlain ? charactersOf(*child) : viewOf(attribute.getNodeValue());
}

}  // namespace vorn
