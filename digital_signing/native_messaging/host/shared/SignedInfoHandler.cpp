#include "shared/SignedInfoHandler.h"

#include <xercesc/dom/DOMElement.hpp>
#include <xsec/dsig/DSIGAlgorithmHandlerDefault.hpp>
#include <xsec/dsig/DSIGConstants.hpp>
#include <xsec/transformers/TXFMChain.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "shared/CanonicalBytes.h"

namespace {

/** Reaches what a link of a chain reads from. */
struct ChainLink : TXFMBase {
  static constexpr TXFMBase* TXFMBase::*kInput = &ChainLink::input;
};

class SignedInfoHandler : public DSIGAlgorithmHandlerDefault {
 public:
  unsigned int signToSafeBuffer(TXFMChain* inputBytes, const XMLCh* uri, const XSECCryptoKey* key,
                                unsigned int outputLength, safeBuffer& result) const override {
    // The library's chain is the canonicaliser, nothing of which has been read yet, behind the SignedInfo
    // element.
    const TXFMBase* source = inputBytes->getLastTxfm()->*ChainLink::kInput;
    const auto* signedInfo = static_cast<const xercesc::DOMElement*>(source->getFragmentNode());
    TXFMChain chain(new CanonicalBytes(*signedInfo, nullptr, nullptr));
    return DSIGAlgorithmHandlerDefault::signToSafeBuffer(&chain, uri, key, outputLength, result);
  }

  XSECAlgorithmHandler* clone() const override { return new SignedInfoHandler(*this); }
};

}  // namespace

void useOwnCanonicalSignedInfo() {
  const SignedInfoHandler handler;
  for (const XMLCh* uri : {DSIGConstants::s_unicodeStrURIRSA_SHA1, DSIGConstants::s_unicodeStrURIRSA_SHA256,
                           DSIGConstants::s_unicodeStrURIRSA_SHA512}) {
    XSECPlatformUtils::registerAlgorithmHandler(uri, handler);
  }
}
