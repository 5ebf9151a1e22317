#include "shared/xml/SignatureProvider.h"

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xsec/dsig/DSIGAlgorithmHandlerDefault.hpp>
#include <xsec/dsig/DSIGConstants.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/framework/XSECURIResolver.hpp>
#include <xsec/transformers/TXFMChain.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "shared/base/SignatureAlgorithm.h"
#include "shared/xml/CanonicalBytes.h"

namespace vorn {
namespace {

class RefusingResolver : public XSECURIResolver {
 public:
  xercesc::BinInputStream* resolveURI(const XMLCh*) override {
    throw XSECException(XSECException::ErrorOpeningURI,
                        "a signature refers to something outside of the document");
  }
  void setBaseURI(const XMLCh*) override {}
  XSECURIResolver* clone() override { return new RefusingResolver; }
};

}  // namespace

SignatureProvider::SignatureProvider() {
  // Without one, releases of the library differ: some open what a signature names, others end the process.
  RefusingResolver resolver;
  setDefaultURIResolver(&resolver);
}

namespace {

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
  /**
   * The library's chain is the canonicaliser, nothing of which has been read
   * yet, behind the SignedInfo element.
   */
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

void useOwnCanonicalSignedInfo() {
  const SignedInfoHandler handler;
#define VORN_ROW(name, method, digest, hash, family, bits, evp) \
  XSECPlatformUtils::registerAlgorithmHandler(DSIGConstants::method, handler);
  VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
}

}  // namespace vorn
