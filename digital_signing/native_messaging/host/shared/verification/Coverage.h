#pragma once

#include <cstddef>
#include <string>
#include <vector>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

namespace vorn::verification {

/** Where the element stands, as an XPath of the names as written: "/Agreement/Part[2]/CounterpartData". Of a
 * very long one the middle is left out, for "...". */
std::string pathOf(const xercesc::DOMElement& element);

/** The content of a document that no signature covers. */
struct Uncovered {
  std::vector<std::string> places; /**< the first of them, as XPaths */
  std::size_t more = 0;            /**< how many others there are */
};

/** What stands outside of the signed elements: elements with all that they hold, attributes and text of the
 * elements around them, processing instructions. Of what stands inside, the comments, which split a text
 * unseen. Namespace declarations and attributes like xml:lang are covered where they are in scope. */
Uncovered uncoveredBy(const std::vector<const xercesc::DOMElement*>& signedElements,
                      const xercesc::DOMDocument& document);

}  // namespace vorn::verification
