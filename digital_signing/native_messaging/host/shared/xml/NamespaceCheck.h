#pragma once

#include <string>
#include <string_view>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMElement;
XERCES_CPP_NAMESPACE_END

namespace vorn {

/** The faults that a reader with namespace processing finds; the first of each kind, as UTF-8. */
struct NamespaceFaults {
  std::string malformed;     /**< why it is not namespace-well-formed, for people; empty if it is */
  std::string oddUri;        /**< a namespace name that is relative, or no URI; empty if there is none */
  bool hasAmpersand = false; /**< in a namespace name, anywhere */
  bool hasLongUri = false;   /**< as isLong has it */
};

/** How much is looked at. */
enum class NamespaceRange {
  kElement, /**< the declarations and names of one element */
  kTree,    /**< all that is inside as well */
};

/** Checks a tree that was parsed without namespace processing. One pass without recursion. */
NamespaceFaults checkNamespaces(const xercesc::DOMElement& root, NamespaceRange range);

/**
 * Whether libxml2, and what is built on it, takes the text for a URI with a scheme: by RFC 3986, but that a
 * port has digits, and a fragment may have brackets.
 */
bool isAbsoluteUri(std::u16string_view text);

}  // namespace vorn
