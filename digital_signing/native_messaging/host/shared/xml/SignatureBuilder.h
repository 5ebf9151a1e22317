#pragma once

#include <string>
#include <xercesc/dom/DOMElement.hpp>

#include "shared/base/SigningIdentity.h"

namespace vorn {

/**
 * Puts one enveloped signature over an element of a document last into that element: its one reference with
 * the transforms, the signature of the key, and for the verifier the key's public half and the certificate
 * (the base64 of its DER). The signature opens nothing that is not of the document itself. Returns the digest
 * of the element, in base64.
 *
 * Throws what the signature library and the key throw; a Signature element, unfinished, may then be left in
 * the document.
 */
std::string buildSignature(xercesc::DOMElement& element, const std::string& elementName,
                           const XMLCh* signatureMethodURI, const XMLCh* digestMethodURI, SigningKey signer,
                           const std::string& certificate);

/**
 * Has the signature library sign the canonical form of SignedInfo that Canonicaliser makes. The
 * library's own takes any attribute of an ancestor whose name begins with "xmlns" for a declaration in trees
 * parsed without namespace processing, down to a legal xmlns:xml, and verifiers then refuse the signature.
 *
 * To be called once the library has been started.
 */
void useOwnCanonicalSignedInfo();

}  // namespace vorn
