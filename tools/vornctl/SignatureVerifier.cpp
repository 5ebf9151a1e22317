#include "vornctl/SignatureVerifier.h"

#include <algorithm>
#include <memory>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xsec/dsig/DSIGConstants.hpp>
#include <xsec/dsig/DSIGKeyInfoList.hpp>
#include <xsec/dsig/DSIGKeyInfoX509.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGReferenceList.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/dsig/DSIGTransformList.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/enc/XSECCryptoX509.hpp>
#include <xsec/framework/XSECException.hpp>

#include "shared/Exceptions.h"
#include "shared/xml/DocumentElements.h"
#include "shared/xml/ElementDigestTransform.h"
#include "shared/xml/ParsedDocument.h"
#include "shared/xml/ParserErrors.h"
#include "shared/xml/SignatureProvider.h"
#include "shared/xml/XmlText.h"

namespace vorn::vornctl {

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr char16_t kFilterNamespace[] = u"http://www.w3.org/2002/06/xmldsig-filter2";

/** Thrown within this file: why a signature is not valid. */
struct NotValid {
  std::string fault;
};

ParsedDocument parse(const std::string& xml) {
  try {
    return ParsedDocument(xml);
  } catch (const BaseException&) {
    throw;
  } catch (...) {
    const auto description = describeParserException();
    if (!description) throw;
    throw XMLDataParsingException(*description);
  }
}

std::u16string_view localName(const DOMNode& node) {
  const std::u16string_view name = viewOf(node.getNodeName());
  const std::size_t colon = name.find(u':');
  return colon == std::u16string_view::npos ? name : name.substr(colon + 1);
}

/** The name of the namespace that the element's prefix stands for; empty when it has none. */
std::u16string namespaceOf(const DOMElement& element) {
  const std::u16string_view name = viewOf(element.getNodeName());
  const std::size_t colon = name.find(u':');
  const std::u16string declaration =
      colon == std::u16string_view::npos ? u"xmlns" : u"xmlns:" + std::u16string(name.substr(0, colon));
  for (const DOMNode* node = &element; node != nullptr && node->getNodeType() == DOMNode::ELEMENT_NODE;
       node = node->getParentNode()) {
    const auto& at = static_cast<const DOMElement&>(*node);
    if (at.hasAttribute(declaration.c_str())) return at.getAttribute(declaration.c_str());
  }
  return {};
}

bool isElement(const DOMNode& node, std::u16string_view namespaceName, std::u16string_view name) {
  return node.getNodeType() == DOMNode::ELEMENT_NODE && localName(node) == name &&
         namespaceOf(static_cast<const DOMElement&>(node)) == namespaceName;
}

std::vector<DOMElement*> childElements(const DOMNode& parent) {
  std::vector<DOMElement*> children;
  for (DOMNode* child = parent.getFirstChild(); child != nullptr; child = child->getNextSibling())
    if (child->getNodeType() == DOMNode::ELEMENT_NODE) children.push_back(static_cast<DOMElement*>(child));
  return children;
}

/** The only Signature among the children of the element. */
DOMElement& findSignature(const DOMElement& element) {
  DOMElement* found = nullptr;
  for (DOMElement* child : childElements(element)) {
    if (!isElement(*child, DSIGConstants::s_unicodeStrURIDSIG, u"Signature")) continue;
    if (found != nullptr) throw NotValid{"the element has several signatures"};
    found = child;
  }
  if (found == nullptr) throw NotValid{"the element is not signed"};
  return *found;
}

/**
 * Gives the nodes of a signature the namespaces that the library looks for; the document
 * is parsed without, as it was when it was signed. Signatures of any use are not deep;
 * others are refused before this recurses far.
 */
DOMElement& resolveNamespaces(DOMElement& element, unsigned depth = 0) {
  constexpr unsigned kDeepest = 20;
  if (depth > kDeepest) throw NotValid{"the signature is nested too deeply"};
  xercesc::DOMDocument& document = *element.getOwnerDocument();
  const std::u16string name(viewOf(element.getNodeName()));
  const std::u16string uri = namespaceOf(element);
  auto& resolved = static_cast<DOMElement&>(
      *document.renameNode(&element, uri.empty() ? nullptr : uri.c_str(), name.c_str()));
  std::vector<DOMNode*> attributes;
  for (XMLSize_t i = 0; i < resolved.getAttributes()->getLength(); ++i)
    attributes.push_back(resolved.getAttributes()->item(i));
  for (DOMNode* attribute : attributes) {
    const std::u16string attributeName(viewOf(attribute->getNodeName()));
    const bool declares = attributeName == u"xmlns" || attributeName.starts_with(u"xmlns:");
    if (declares || attributeName.find(u':') == std::u16string::npos) {
      document.renameNode(attribute, declares ? xercesc::XMLUni::fgXMLNSURIName : nullptr,
                          attributeName.c_str());
    }
  }
  for (DOMElement* child : childElements(resolved)) resolveNamespaces(*child, depth + 1);
  return resolved;
}

std::u16string_view algorithmOf(const DOMElement& element) {
  return viewOf(element.getAttribute(u"Algorithm"));
}

bool isCanonicalisation(std::u16string_view algorithm) {
  return algorithm == viewOf(DSIGConstants::s_unicodeStrURIC14N_COM) ||
         algorithm == viewOf(DSIGConstants::s_unicodeStrURIC14N_NOC);
}

/** The only element of that name below the parent, both of the signature namespace. */
DOMElement& onlyChild(const DOMElement& parent, std::u16string_view name) {
  DOMElement* found = nullptr;
  for (DOMElement* child : childElements(parent)) {
    if (!isElement(*child, DSIGConstants::s_unicodeStrURIDSIG, name)) continue;
    if (found != nullptr)
      throw NotValid{"the signature has several " + toUtf8(child->getNodeName()) + " elements"};
    found = child;
  }
  if (found == nullptr) throw NotValid{"the signature has no " + toUtf8(std::u16string(name).c_str())};
  return *found;
}

/**
 * That the signature says to cover this element, whole, and nothing else: what is digested is what is read.
 */
void requireKnownForm(const DOMElement& signature, const std::string& elementName) {
  const DOMElement& signedInfo = onlyChild(signature, u"SignedInfo");
  const DOMElement& reference = onlyChild(signedInfo, u"Reference");
  const auto transforms = childElements(onlyChild(reference, u"Transforms"));
  const auto uri = viewOf(reference.getAttribute(u"URI"));
  const bool known = reference.hasAttribute(u"URI") && uri.empty() && transforms.size() == 3 &&
                     algorithmOf(*transforms[0]) == viewOf(DSIGConstants::s_unicodeStrURIXPF) &&
                     algorithmOf(*transforms[1]) == viewOf(DSIGConstants::s_unicodeStrURIENVELOPE) &&
                     isCanonicalisation(algorithmOf(*transforms[2])) &&
                     isCanonicalisation(algorithmOf(onlyChild(signedInfo, u"CanonicalizationMethod")));
  if (!known) throw NotValid{"the signature is of another form than this program can check"};
  const auto filters = childElements(*transforms[0]);
  if (filters.size() != 1 || !isElement(*filters[0], kFilterNamespace, u"XPath") ||
      viewOf(filters[0]->getAttribute(u"Filter")) != u"intersect" ||
      toUtf8(filters[0]->getTextContent()) != "//" + elementName)
    throw NotValid{"the signature covers something else than the element that it stands in"};
}

std::string withoutBlanks(const XMLCh* base64) {
  std::string text = toUtf8(base64);
  text.erase(
      std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }),
      text.end());
  return text;
}

/** The first certificate of the signature. */
XSECCryptoX509& certificateOf(const DSIGSignature& signature, std::string& base64) {
  const DSIGKeyInfoList& information = *signature.getKeyInfoList();
  for (DSIGKeyInfoList::size_type i = 0; i < information.getSize(); ++i) {
    const DSIGKeyInfo* item = information.item(i);
    if (item->getKeyInfoType() != DSIGKeyInfo::KEYINFO_X509) continue;
    const auto& x509 = static_cast<const DSIGKeyInfoX509&>(*item);
    if (x509.getCertificateListSize() < 1) continue;
    base64 = withoutBlanks(x509.getCertificateItem(0));
    if (const XSECCryptoX509* certificate = x509.getCertificateCryptoItem(0))
      return const_cast<XSECCryptoX509&>(*certificate);
  }
  throw NotValid{"the signature holds no certificate"};
}

/** Checks a signature that has been resolved, in its place. */
void check(DOMElement& element, DOMElement& signatureElement, SignatureVerdict& result) {
  SignatureProvider provider;
  const auto release = [&provider](DSIGSignature* taken) { provider.releaseSignature(taken); };
  const std::unique_ptr<DSIGSignature, decltype(release)> signature(
      provider.newSignatureFromDOM(element.getOwnerDocument(), &signatureElement), release);
  signature->load();
  result.algorithm = toUtf8(
      onlyChild(onlyChild(signatureElement, u"SignedInfo"), u"SignatureMethod").getAttribute(u"Algorithm"));
  XSECCryptoX509& certificate = certificateOf(*signature, result.certificate);
  signature->setSigningKey(certificate.clonePublicKey());

  DSIGReference& reference = *signature->getReferenceList()->item(0);
  DSIGTransformList& transforms = *reference.getTransforms();
  while (!transforms.empty()) transforms.removeTransform(transforms.getSize() - 1);
  transforms.addTransform(new ElementDigestTransform(element, signatureElement));

  if (!signature->verifySignatureOnly())
    throw NotValid{"the signature was not made with the key of the certificate in it, or has been altered"};
  if (!reference.checkHash()) throw NotValid{"the element has been altered since it was signed"};
  result.valid = true;
}

SignatureVerdict checkElement(xercesc::DOMDocument& document, const std::string& name) {
  SignatureVerdict result{name};
  try {
    const NamedElements found = findElements(document, name);
    if (found.count == 0) throw NotValid{"there is no such element"};
    if (found.count > 1) throw NotValid{"there are several such elements"};
    DOMElement& signature = findSignature(*found.first);
    requireKnownForm(signature, name);
    check(*found.first, resolveNamespaces(signature), result);
  } catch (const NotValid& e) {
    result.fault = e.fault;
  } catch (const XSECException& e) {
    result.fault = "the signature cannot be read: " + toUtf8(e.getMsg());
  } catch (const XSECCryptoException& e) {
    result.fault = std::string("the signature cannot be checked: ") + e.getMsg();
  } catch (const xercesc::DOMException& e) {
    result.fault = "the signature cannot be read: " + toUtf8(e.getMessage());
  }
  return result;
}

}  // namespace

std::vector<SignatureVerdict> verifySignatures(const std::string& xml) {
  ParsedDocument parsed = parse(xml);
  xercesc::DOMDocument& document = parsed.document();
  // Resolving the namespaces of a signature puts other elements in place of those that were parsed.
  ElementIndex::forget(document);
  return {checkElement(document, "CounterpartData"), checkElement(document, "RenderedData")};
}

}  // namespace vorn::vornctl
