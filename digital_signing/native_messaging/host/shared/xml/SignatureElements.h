#pragma once

#include <cstddef>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMElement;
XERCES_CPP_NAMESPACE_END

namespace vorn {

/** The XML signatures among the children of an element. */
struct SignatureElements {
  std::size_t count = 0;
  const xercesc::DOMElement* last = nullptr; /**< null when there is none */
};

/**
 * Told by the namespaces that the prefixes stand for; the tree may have been made without namespace
 * processing. Takes time for the children, for the attributes of the elements around, and no more.
 */
SignatureElements findSignatures(const xercesc::DOMElement& parent);

}  // namespace vorn
