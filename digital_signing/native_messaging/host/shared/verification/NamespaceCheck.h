#pragma once

#include <optional>
#include <string>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
XERCES_CPP_NAMESPACE_END

namespace vorn::verification {

/**
 * Why a parser with namespace processing, which all other verifiers have, refuses the document: the first
 * fault, for people; none when it is namespace-well-formed. The tree was parsed without.
 */
std::optional<std::string> namespaceFaultOf(const xercesc::DOMDocument& document);

}  // namespace vorn::verification
