#pragma once

#include <cstddef>
#include <string_view>
#include <xercesc/util/XercesDefs.hpp>

XERCES_CPP_NAMESPACE_BEGIN
class DOMElement;
XERCES_CPP_NAMESPACE_END

namespace vorn {

/** The elements that our signatures are made of, and their attributes. */
inline constexpr std::u16string_view kElementsOfSignature[] = {
    u"Signature",       u"SignedInfo",     u"CanonicalizationMethod",
    u"SignatureMethod", u"Reference",      u"Transforms",
    u"Transform",       u"XPath",          u"DigestMethod",
    u"DigestValue",     u"SignatureValue", u"KeyInfo",
    u"KeyValue",        u"RSAKeyValue",    u"Modulus",
    u"Exponent",        u"X509Data",       u"X509Certificate"};
inline constexpr std::u16string_view kAttributesOfSignature[] = {u"xmlns", u"Algorithm", u"URI", u"Filter"};
/** From the signed element down to the XPath element of its signature. */
inline constexpr unsigned kLevelsOfSignature = 6;

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
