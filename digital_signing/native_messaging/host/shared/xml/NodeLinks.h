#pragma once

#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMAttrImpl;
class DOMElementImpl;
class DOMTextImpl;
XERCES_CPP_NAMESPACE_END

namespace vorn {

/**
 * Ties new nodes into a tree as the library's own parser does, with the same result. The library asks for the
 * class of every node it touches by dynamic_cast, several times for each that is added, and that is a third
 * of a parse; here it is known.
 *
 * The nodes are of one document that was parsed without namespace processing,
 * and fresh: without parent or siblings.
 */
void appendChild(xercesc::DOMElementImpl& parent, xercesc::DOMElementImpl& child);
void appendChild(xercesc::DOMElementImpl& parent, xercesc::DOMTextImpl& child);
void setOnlyChild(xercesc::DOMAttrImpl& attribute, xercesc::DOMTextImpl& text);

}  // namespace vorn
