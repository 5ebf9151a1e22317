#pragma once

#include <string>
#include <string_view>
#include <xercesc/dom/DOMCharacterData.hpp>
#include <xercesc/util/XercesDefs.hpp>

namespace vorn {

/**
 * Text between the UTF-16 of the XML libraries and the UTF-8 of everything
 * else. A null pointer is an empty text.
 */
std::string toUtf8(const XMLCh* text);
std::string toUtf8(std::u16string_view text);
std::u16string toUtf16(const std::string& text);

/** The same for a message, which need not repeat the whole of a long text. */
std::string excerptOf(std::u16string_view text);

/** A view of a zero-ended text of the XML libraries; empty for a null pointer. */
inline std::u16string_view viewOf(const XMLCh* text) {
  return text != nullptr ? std::u16string_view(text) : std::u16string_view();
}

/** The text of a text node or CDATA section, whose length the node knows. */
inline std::u16string_view textOf(const xercesc::DOMNode& node) {
  const auto& text = static_cast<const xercesc::DOMCharacterData&>(node);
  return {text.getData(), text.getLength()};
}

/** The attribute's value as its own function gives it, but without a copy where a text is the only child. */
inline std::u16string_view valueOf(const xercesc::DOMNode& attribute) {
  const xercesc::DOMNode* child = attribute.getFirstChild();
  const bool isPlain = child != nullptr && child->getNodeType() == xercesc::DOMNode::TEXT_NODE &&
                       child->getNextSibling() == nullptr;
  return isPlain ? textOf(*child) : viewOf(attribute.getNodeValue());
}

}  // namespace vorn
