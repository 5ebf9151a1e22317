#pragma once

#include <memory>
#include <string>
#include <xercesc/util/XercesDefs.hpp>

#include "shared/xml/SignatureProvider.h"

class DSIGSignature;
class XSECCryptoKey;
XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
class DOMElement;
XERCES_CPP_NAMESPACE_END

namespace vorn {

/**
 * One enveloped signature over one element of a document, made step by step in the order of the operations
 * below. All of them throw what the signature library throws. A builder given up midway leaves the Signature
 * element, unfinished, in the document.
 */
class SignatureBuilder {
 public:
  SignatureBuilder(xercesc::DOMDocument& document, xercesc::DOMElement& element, std::string elementName);
  ~SignatureBuilder();
  SignatureBuilder(const SignatureBuilder&) = delete;
  SignatureBuilder& operator=(const SignatureBuilder&) = delete;

  /**
   * Puts the Signature element, with its one reference and the transforms of
   * it, last into the signed element.
   */
  void addSignature(const XMLCh* signatureMethodURI, const XMLCh* digestMethodURI);
  void setSigningKey(std::unique_ptr<XSECCryptoKey> key);
  /** Public key and certificate for the verifier, all in base64. */
  void addKeyInfo(const std::string& modulus, const std::string& exponent, const std::string& certificate);
  /** Digests the element, and has the key sign. */
  void sign();

  /** After `sign`: the digest of the element, in base64. */
  const std::string& digest() const { return digest_; }

 private:
  SignatureProvider provider_;
  DSIGSignature* signature_ = nullptr;  // the provider's
  xercesc::DOMDocument& document_;
  xercesc::DOMElement& element_;
  std::string elementName_;
  std::string digest_;
};

}  // namespace vorn
