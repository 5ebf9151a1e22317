#include "shared/verification/SignatureReader.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xsec/dsig/DSIGConstants.hpp>

#include "shared/base/Base64.h"
#include "shared/verification/Objection.h"
#include "shared/xml/XmlText.h"

namespace vorn::verification {

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;
using Attributes = std::vector<std::pair<std::u16string_view, std::u16string_view>>;

constexpr char16_t kFilterNamespace[] = u"http://www.w3.org/2002/06/xmldsig-filter2";

// For people to read.
constexpr std::size_t kLongestAlgorithm = 200;

[[noreturn]] void refuse(const std::string& reason) {
  throw Objection{kFormatFailure,
                  "the signature is of another form than the one that the host makes: " + reason};
}

bool isBlank(std::u16string_view text) {
  return text.find_first_not_of(u" \t\r\n") == std::u16string_view::npos;
}

/** The children, which have to be elements of these names in this order. */
template <std::size_t count>
std::array<const DOMElement*, count> childrenOf(const DOMElement& parent,
                                                const std::u16string_view (&names)[count]) {
  std::array<const DOMElement*, count> children;
  std::size_t found = 0;
  for (const DOMNode* child = parent.getFirstChild(); child != nullptr; child = child->getNextSibling()) {
    if (child->getNodeType() == DOMNode::TEXT_NODE && isBlank(charactersOf(*child))) continue;
    if (child->getNodeType() != DOMNode::ELEMENT_NODE || found == count ||
        viewOf(child->getNodeName()) != names[found])
      refuse("what <" + toUtf8(parent.getNodeName()) + "> holds");
    children[found++] = static_cast<const DOMElement*>(child);
  }
  if (found != count)
    refuse("<" + toUtf8(parent.getNodeName()) + "> has no <" + toUtf8(names[found].data()) + ">");
  return children;
}

void requireAttributes(const DOMElement& element, const Attributes& expected) {
  const auto isThere = [&element](const auto& attribute) {
    return element.hasAttribute(attribute.first.data()) &&
           viewOf(element.getAttribute(attribute.first.data())) == attribute.second;
  };
  if (element.getAttributes()->getLength() != expected.size() ||
      !std::all_of(expected.begin(), expected.end(), isThere))
    refuse("the attributes of <" + toUtf8(element.getNodeName()) + ">");
}

/** An element of the form that holds text alone. */
std::string contentOf(const DOMElement& element, const Attributes& attributes = {}) {
  requireAttributes(element, attributes);
  std::u16string text;
  for (const DOMNode* child = element.getFirstChild(); child != nullptr; child = child->getNextSibling()) {
    if (child->getNodeType() != DOMNode::TEXT_NODE)
      refuse("what <" + toUtf8(element.getNodeName()) + "> holds");
    text += charactersOf(*child);
  }
  return toUtf8(text.c_str());
}

/** Blanks are read over; alphabet, padding and the bits behind the last byte are as an encoder writes them.
 */
std::string decodedContentOf(const DOMElement& element) {
  std::string text = contentOf(element);
  text.erase(std::remove_if(text.begin(), text.end(),
                            [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }),
             text.end());
  const auto bytes = fromBase64(text);
  if (!bytes || toBase64(bytes->view()) != text)
    refuse("<" + toUtf8(element.getNodeName()) + "> is not base64");
  return std::string(bytes->view());
}

void requireEmpty(const DOMElement& element, const Attributes& attributes) {
  if (!contentOf(element, attributes).empty()) refuse("what <" + toUtf8(element.getNodeName()) + "> holds");
}

void requireTransforms(const DOMElement& transforms, const std::string& elementName) {
  requireAttributes(transforms, {});
  const auto [filter, enveloped, canonicalisation] =
      childrenOf(transforms, {u"Transform", u"Transform", u"Transform"});
  requireAttributes(*filter, {{u"Algorithm", kFilterNamespace}});
  requireEmpty(*enveloped, {{u"Algorithm", DSIGConstants::s_unicodeStrURIENVELOPE}});
  requireEmpty(*canonicalisation, {{u"Algorithm", DSIGConstants::s_unicodeStrURIC14N_COM}});
  const auto [xpath] = childrenOf(*filter, {u"XPath"});
  if (contentOf(*xpath, {{u"xmlns", kFilterNamespace}, {u"Filter", u"intersect"}}) != "//" + elementName)
    throw Objection{kFormatFailure, "the signature covers something else than the element that it stands in"};
}

SignatureAlgorithm algorithmOf(const DOMElement& method, const DOMElement& digestMethod) {
  const std::u16string_view uri = viewOf(method.getAttribute(u"Algorithm"));
  const std::u16string_view digestUri = viewOf(digestMethod.getAttribute(u"Algorithm"));
  if (std::max(uri.size(), digestUri.size()) > kLongestAlgorithm) refuse("the identifiers of its algorithms");
  requireEmpty(method, {{u"Algorithm", uri}});
  requireEmpty(digestMethod, {{u"Algorithm", digestUri}});
#define VORN_ROW(name, methodURI, digestURI, hash, family, bits, evp)                           \
  if (uri == viewOf(DSIGConstants::methodURI) && digestUri == viewOf(DSIGConstants::digestURI)) \
    return SignatureAlgorithm::name;
  VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
  throw Objection{kCryptoConstraints, "the algorithms " + toUtf8(uri.data()) + " and " +
                                          toUtf8(digestUri.data()) + " are not accepted together"};
}

void readSignedInfo(const DOMElement& signedInfo, const std::string& elementName, SignatureFields& fields) {
  requireAttributes(signedInfo, {});
  const auto [canonicalisation, method, reference] =
      childrenOf(signedInfo, {u"CanonicalizationMethod", u"SignatureMethod", u"Reference"});
  requireEmpty(*canonicalisation, {{u"Algorithm", DSIGConstants::s_unicodeStrURIC14N_COM}});
  requireAttributes(*reference, {{u"URI", u""}});
  const auto [transforms, digestMethod, digest] =
      childrenOf(*reference, {u"Transforms", u"DigestMethod", u"DigestValue"});
  requireTransforms(*transforms, elementName);
  fields.signedInfo = &signedInfo;
  fields.algorithm = algorithmOf(*method, *digestMethod);
  fields.digest = decodedContentOf(*digest);
}

void readKeyInfo(const DOMElement& keyInfo, SignatureFields& fields) {
  const auto [keyValue, x509Data] = childrenOf(keyInfo, {u"KeyValue", u"X509Data"});
  const auto [rsa] = childrenOf(*keyValue, {u"RSAKeyValue"});
  for (const DOMElement* element : {&keyInfo, keyValue, x509Data, rsa}) requireAttributes(*element, {});
  const auto [modulus, exponent] = childrenOf(*rsa, {u"Modulus", u"Exponent"});
  const auto [certificate] = childrenOf(*x509Data, {u"X509Certificate"});
  fields.modulus = decodedContentOf(*modulus);
  fields.exponent = decodedContentOf(*exponent);
  fields.certificate = decodedContentOf(*certificate);
}

}  // namespace

SignatureFields readSignature(const DOMElement& signature, const std::string& elementName) {
  SignatureFields fields{};
  if (viewOf(signature.getNodeName()) != u"Signature") refuse("its elements have a prefix");
  requireAttributes(signature, {{u"xmlns", DSIGConstants::s_unicodeStrURIDSIG}});
  const auto [signedInfo, value, keyInfo] =
      childrenOf(signature, {u"SignedInfo", u"SignatureValue", u"KeyInfo"});
  readSignedInfo(*signedInfo, elementName, fields);
  fields.signature = decodedContentOf(*value);
  readKeyInfo(*keyInfo, fields);
  return fields;
}

std::string signatureMethodOf(const DOMElement& signature) {
  const DOMElement* const signedInfo = signature.getFirstElementChild();
  const DOMElement* method = signedInfo != nullptr ? signedInfo->getFirstElementChild() : nullptr;
  while (method != nullptr && viewOf(method->getNodeName()) != u"SignatureMethod")
    method = method->getNextElementSibling();
  const bool isThere =
      method != nullptr && viewOf(method->getAttribute(u"Algorithm")).size() <= kLongestAlgorithm;
  return isThere ? toUtf8(method->getAttribute(u"Algorithm")) : std::string();
}

}  // namespace vorn::verification
