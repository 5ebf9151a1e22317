#pragma once

#include <string_view>
#include <xercesc/dom/DOMCharacterData.hpp>

#include "shared/xml/XmlText.h"

namespace vorn {

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
