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

#include "shared/base/Base64.h"
#include "shared/xml/CanonicalBytes.h"
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

/**
 * The library parses each certificate that it is told to append, and refuses what is none. One signature
 * after another carries the same: the last one that it took is not parsed again. One thread signs.
 */
void appendCertificate(DSIGSignature& signature, xercesc::DOMDocument& document, const std::string& base64) {
  static std::string taken;
  DSIGKeyInfoX509* const data = signature.appendX509Data();
  const std::u16string text = toUtf16(base64);
  if (base64 != taken) {
    data->appendX509Certificate(text.c_str());
    taken = base64;
    return;
  }
  std::u16string name(viewOf(signature.getDSIGNSPrefix()));
  if (!name.empty()) name += u':';
  name += u"X509Certificate";
  xercesc::DOMElement* const element =
      document.createElementNS(DSIGConstants::s_unicodeStrURIDSIG, name.c_str());
  element->appendChild(document.createTextNode(text.c_str()));
  data->getKeyInfoDOMNode()->appendChild(element);
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
  transforms->addTransform(new ElementDigestTransform(element_, *signatureElement));
}

void SignatureBuilder::setSigningKey(std::unique_ptr<XSECCryptoKey> key) {
  signature_->setSigningKey(key.release());
}

void SignatureBuilder::addKeyInfo(const std::string& modulus, const std::string& exponent,
                                  const std::string& certificate) {
  signature_->appendRSAKeyValue(toUtf16(modulus).c_str(), toUtf16(exponent).c_str());
  appendCertificate(*signature_, document_, certificate);
}

void SignatureBuilder::sign() {
  signature_->sign();
  digest_ = digestOf(*signature_);
  provider_.releaseSignature(std::exchange(signature_, nullptr));
}

}  // namespace vorn
