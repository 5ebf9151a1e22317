#pragma once

#include <string_view>
#include <xercesc/dom/DOMCharacterData.hpp>

#include "shared/xml/XmlText.h"

namespace vorn {

/** What a text or CDATA section says; the node knows how long it is. */
inline std::u16string_view textOf(const xercesc::DOMNode& node) {
  const auto& text = static_cast<const xercesc::DOMCharacterData&>(node);
  return {text.getData(), text.getLength()};
}

/** What the attribute's own value function gives, but that casts its way to a text that is the only child. */
inline std::u16string_view valueOf(const xercesc::DOMNode& attribute) {
  const xercesc::DOMNode* child = attribute.getFirstChild();
  const bool isPlain = child != nullptr && child->getNodeType() == xercesc::DOMNode::TEXT_NODE &&
                       child->getNextSibling() == nullptr;
  return isPlain ? textOf(*child) : viewOf(attribute.getNodeValue());
}

}  // namespace vorn
