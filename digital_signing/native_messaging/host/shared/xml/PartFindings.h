#pragma once

#include <string>
#include <string_view>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMElement;
XERCES_CPP_NAMESPACE_END

namespace vorn {

/** The findings in or around a signed element at which some verifiers stumble; the first of each kind, as
 * UTF-8. */
struct PartFindings {
  /**
   * An attribute like xml:lang that the JDK inherits wrongly: with different values on two of the element and
   * its ancestors, or in scope on an element inside that has others of them but not this one.
   */
  std::string xmlAttribute;
  std::string ampersandUri; /**< a namespace name in scope that holds "&" */
  bool hasCarriageReturn = false;
  bool hasControl = false; /**< U+0080 to U+009F */
};

/** One pass over the element and what is inside, without recursion. */
PartFindings findingsIn(const xercesc::DOMElement& element);

/** Whether a default namespace is in scope on the element. */
bool hasDefaultNamespace(const xercesc::DOMElement& element);

/** Whether an element of this name is above it. */
bool isInside(const xercesc::DOMElement& element, std::u16string_view ancestorName);

/** One for the root. */
unsigned levelOf(const xercesc::DOMElement& element);

}  // namespace vorn
