#include "shared/xml/SignatureBuilder.h"

#include <utility>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMText.hpp>
#include <xsec/dsig/DSIGConstants.hpp>
#include <xsec/dsig/DSIGKeyInfoX509.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGReferenceList.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/dsig/DSIGTransformC14n.hpp>
#include <xsec/dsig/DSIGTransformList.hpp>
#include <xsec/dsig/DSIGTransformXPathFilter.hpp>
#include <xsec/dsig/DSIGXPathFilterExpr.hpp>
#include <xsec/enc/XSECCryptoKey.hpp>

#include "shared/Base64.h"
#include "shared/xml/ElementDigestTransform.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

/** The digest of the one reference, in base64 as the document has it. */
std::string digestOf(const DSIGSignature& signature) {
  constexpr unsigned kLongestDigest = 64;
  XMLByte digest[kLongestDigest];
  const unsigned length = signature.getReferenceList()->item(0)->readHash(digest, kLongestDigest);
  return toBase64({reinterpret_cast<const char*>(digest), length});
}

}  // namespace

SignatureBuilder::SignatureBuilder(xercesc::DOMDocument& document, xercesc::DOMElement& element,
                                   std::string elementName)
    : document_(document), element_(element), elementName_(std::move(elementName)) {}

SignatureBuilder::~SignatureBuilder() {
  // The provider's end does not release what it has given out.
  if (signature_ != nullptr) provider_.releaseSignature(signature_);
}

void SignatureBuilder::addSignature(const XMLCh* signatureMethodURI, const XMLCh* digestMethodURI) {
  const XMLCh* const canonicalisation = DSIGConstants::s_unicodeStrURIC14N_COM;
  signature_ = provider_.newSignature();
  signature_->setPrettyPrint(false);
  xercesc::DOMElement* signatureElement =
      signature_->createBlankSignature(&document_, canonicalisation, signatureMethodURI);
  element_.appendChild(signatureElement);

  DSIGReference* reference = signature_->createReference(u"", digestMethodURI);
  signature_->setXPFNSPrefix(u"");
  DSIGTransformXPathFilter* filter = reference->appendXPathFilterTransform();
  filter->appendFilter(DSIGXPathFilterExpr::FILTER_INTERSECT, toUtf16("//" + elementName_).c_str());
  reference->appendEnvelopedSignatureTransform();
  reference->appendCanonicalizationTransform(canonicalisation);

  // From here on the three are only what the document says.
  DSIGTransformList* transforms = reference->getTransforms();
  while (!transforms->empty()) transforms->removeTransform(transforms->getSize() - 1);
  transforms->addTransform(new ElementDigestTransform(element_, *signatureElement, doubtful_));
}

void SignatureBuilder::setSigningKey(std::unique_ptr<XSECCryptoKey> key) {
  signature_->setSigningKey(key.release());
}

void SignatureBuilder::addKeyInfo(const std::string& modulus, const std::string& exponent,
                                  const std::string& certificate) {
  signature_->appendRSAKeyValue(toUtf16(modulus).c_str(), toUtf16(exponent).c_str());
  // The library's own way to append the certificate parses it first, at each signature.
  const std::u16string prefix(viewOf(signature_->getDSIGNSPrefix()));
  const std::u16string name = (prefix.empty() ? prefix : prefix + u':') + u"X509Certificate";
  xercesc::DOMElement* const element =
      document_.createElementNS(DSIGConstants::s_unicodeStrURIDSIG, name.c_str());
  element->appendChild(document_.createTextNode(toUtf16(certificate).c_str()));
  signature_->appendX509Data()->getKeyInfoDOMNode()->appendChild(element);
}

void SignatureBuilder::sign() {
  signature_->sign();
  digest_ = digestOf(*signature_);
  provider_.releaseSignature(std::exchange(signature_, nullptr));
}

}  // namespace vorn
