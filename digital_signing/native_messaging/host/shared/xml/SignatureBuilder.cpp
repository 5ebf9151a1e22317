#include "shared/xml/SignatureBuilder.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMText.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xsec/dsig/DSIGAlgorithmHandlerDefault.hpp>
#include <xsec/dsig/DSIGConstants.hpp>
#include <xsec/dsig/DSIGKeyInfoX509.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGReferenceList.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/dsig/DSIGTransform.hpp>
#include <xsec/dsig/DSIGTransformC14n.hpp>
#include <xsec/dsig/DSIGTransformList.hpp>
#include <xsec/dsig/DSIGTransformXPathFilter.hpp>
#include <xsec/dsig/DSIGXPathFilterExpr.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/framework/XSECProvider.hpp>
#include <xsec/framework/XSECURIResolver.hpp>
#include <xsec/transformers/TXFMBase.hpp>
#include <xsec/transformers/TXFMChain.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "shared/base/Base64.h"
#include "shared/base/SignatureAlgorithm.h"
#include "shared/xml/Canonicaliser.h"
#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

/** The link of a chain of transforms that hands out the canonical bytes of an element, whatever came before
 * it. */
class CanonicalBytes : public TXFMBase {
 public:
  /** The node and what to omit, as for Canonicaliser. */
  CanonicalBytes(const xercesc::DOMElement& element, const xercesc::DOMNode* omitted)
      : TXFMBase(element.getOwnerDocument()),
        document_(element.getOwnerDocument()),
        canonicaliser_(element, omitted) {}

  void setInput(TXFMBase* newInput) override {
    // The chain deletes the input through this.
    input = newInput;
    keepComments = false;
  }
  ioType getInputType() const override { return DOM_NODES; }
  ioType getOutputType() const override { return BYTE_STREAM; }
  nodeType getNodeType() const override { return DOM_NODE_NONE; }
  xercesc::DOMDocument* getDocument() const override { return document_; }

  unsigned int readBytes(XMLByte* const toFill, const unsigned int maxToFill) override {
    if (run_.empty()) run_ = canonicaliser_.next();
    const std::size_t count = std::min<std::size_t>(run_.size(), maxToFill);
    if (count > 0) {
      std::memcpy(toFill, run_.data(), count);
      run_.remove_prefix(count);
    }
    return static_cast<unsigned int>(count);
  }

 private:
  xercesc::DOMDocument* document_;
  Canonicaliser canonicaliser_;
  std::string_view run_;
};

/**
 * Stands in for the three transforms of a signature's reference (the filter that keeps one element, the
 * enveloped signature, the canonicalisation) when the reference is digested: hands the digest the canonical
 * form of `element` less `signature`. The elements that describe the three stay in the document.
 *
 * The library as Debian builds it cannot run the filter, and no build of it can run the enveloped signature
 * after one in less than quadratic time. Its canonicaliser, besides, puts the attributes of a tree that was
 * parsed without namespace processing in the wrong order.
 *
 * Comments are left out whatever the algorithm says: a reference with an empty URI selects none.
 */
class ElementDigestTransform : public DSIGTransform {
 public:
  ElementDigestTransform(const xercesc::DOMElement& element, const xercesc::DOMNode& signature)
      : DSIGTransform(nullptr), element_(element), signature_(signature) {}

  void appendTransformer(TXFMChain* chain) override {
    chain->appendTxfm(new CanonicalBytes(element_, &signature_));
  }
  /** There is none to make: the document holds the elements already. */
  xercesc::DOMElement* createBlankTransform(xercesc::DOMDocument*) override { return nullptr; }
  void load() override {}

 private:
  const xercesc::DOMElement& element_;
  const xercesc::DOMNode& signature_;
};

/** Without one, releases of the library differ: some open what a signature names, others end the process. */
class RefusingResolver : public XSECURIResolver {
 public:
  xercesc::BinInputStream* resolveURI(const XMLCh*) override {
    throw XSECException(XSECException::ErrorOpeningURI,
                        "a signature refers to something outside of the document");
  }
  void setBaseURI(const XMLCh*) override {}
  XSECURIResolver* clone() override { return new RefusingResolver; }
};

/** The provider and a signature of it, which the provider's own end would not release. */
class NewSignature {
 public:
  NewSignature() {
    RefusingResolver resolver;
    provider_.setDefaultURIResolver(&resolver);
    signature_ = provider_.newSignature();
  }
  ~NewSignature() { provider_.releaseSignature(signature_); }
  NewSignature(const NewSignature&) = delete;
  NewSignature& operator=(const NewSignature&) = delete;
  DSIGSignature* operator->() const { return signature_; }

 private:
  XSECProvider provider_;
  DSIGSignature* signature_;
};

/** Puts the Signature element, with its one reference and the transforms of it, last into the element. */
void addElement(const NewSignature& signature, xercesc::DOMElement& element, const std::string& elementName,
                const XMLCh* signatureMethodURI, const XMLCh* digestMethodURI) {
  const XMLCh* const canonicalisation = DSIGConstants::s_unicodeStrURIC14N_COM;
  signature->setPrettyPrint(false);
  xercesc::DOMElement* const signatureElement =
      signature->createBlankSignature(element.getOwnerDocument(), canonicalisation, signatureMethodURI);
  element.appendChild(signatureElement);

  DSIGReference* const reference = signature->createReference(u"", digestMethodURI);
  signature->setXPFNSPrefix(u"");
  DSIGTransformXPathFilter* const filter = reference->appendXPathFilterTransform();
  filter->appendFilter(DSIGXPathFilterExpr::FILTER_INTERSECT, toUtf16("//" + elementName).c_str());
  reference->appendEnvelopedSignatureTransform();
  reference->appendCanonicalizationTransform(canonicalisation);

  // From here on the three are only what the document says.
  DSIGTransformList* const transforms = reference->getTransforms();
  while (!transforms->empty()) transforms->removeTransform(transforms->getSize() - 1);
  transforms->addTransform(new ElementDigestTransform(element, *signatureElement));
}

/** The library parses each certificate that it is told to append, and refuses what is none. One signature
 * after another carries the same: the last one that it took is not parsed again. One thread signs. */
void appendCertificate(const NewSignature& signature, xercesc::DOMDocument& document,
                       const std::string& base64) {
  static std::string taken;
  DSIGKeyInfoX509* const data = signature->appendX509Data();
  const std::u16string text = toUtf16(base64);
  if (base64 != taken) {
    data->appendX509Certificate(text.c_str());
    taken = base64;
    return;
  }
  std::u16string name(viewOf(signature->getDSIGNSPrefix()));
  if (!name.empty()) name += u':';
  name += u"X509Certificate";
  xercesc::DOMElement* const element =
      document.createElementNS(DSIGConstants::s_unicodeStrURIDSIG, name.c_str());
  element->appendChild(document.createTextNode(text.c_str()));
  data->getKeyInfoDOMNode()->appendChild(element);
}

/** Reaches what a link of a chain reads from. */
struct ChainLink : TXFMBase {
  static constexpr TXFMBase* TXFMBase::* kInput = &ChainLink::input;
};

class SignedInfoHandler : public DSIGAlgorithmHandlerDefault {
 public:
  unsigned int signToSafeBuffer(TXFMChain* inputBytes, const XMLCh* uri, const XSECCryptoKey* key,
                                unsigned int outputLength, safeBuffer& result) const override {
    TXFMChain chain(canonicalBytes(inputBytes));
    return DSIGAlgorithmHandlerDefault::signToSafeBuffer(&chain, uri, key, outputLength, result);
  }

  XSECAlgorithmHandler* clone() const override { return new SignedInfoHandler(*this); }

 private:
  /** The library's chain is the canonicaliser, nothing of which has been read
   * yet, behind the SignedInfo element. */
  static CanonicalBytes* canonicalBytes(TXFMChain* inputBytes) {
    const TXFMBase* source = inputBytes->getLastTxfm()->*ChainLink::kInput;
    const auto* signedInfo =
        dynamic_cast<const xercesc::DOMElement*>(source != nullptr ? source->getFragmentNode() : nullptr);
    if (signedInfo == nullptr)
      throw XSECException(XSECException::SigningError, "what is to be signed is not where it was expected");
    return new CanonicalBytes(*signedInfo, nullptr);
  }
};

}  // namespace

std::string buildSignature(xercesc::DOMElement& element, const std::string& elementName,
                           const XMLCh* signatureMethodURI, const XMLCh* digestMethodURI, SigningKey signer,
                           const std::string& certificate) {
  const NewSignature signature;
  addElement(signature, element, elementName, signatureMethodURI, digestMethodURI);
  signature->setSigningKey(signer.key.release());
  const std::string exponent = signer.publicHalf.getExponentBase64();
  const std::string modulus = signer.publicHalf.getModulusBase64();
  signature->appendRSAKeyValue(toUtf16(modulus).c_str(), toUtf16(exponent).c_str());
  appendCertificate(signature, *element.getOwnerDocument(), certificate);
  signature->sign();
  constexpr unsigned kLongestDigest = 64;
  XMLByte digest[kLongestDigest];
  const unsigned length = signature->getReferenceList()->item(0)->readHash(digest, kLongestDigest);
  return toBase64({reinterpret_cast<const char*>(digest), length});
}

void useOwnCanonicalSignedInfo() {
  const SignedInfoHandler handler;
#define VORN_ROW(name, method, digest, hash, family, bits, evp) \
  XSECPlatformUtils::registerAlgorithmHandler(DSIGConstants::method, handler);
  VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
}

}  // namespace vorn
