#pragma once

#include <xsec/framework/XSECProvider.hpp>

namespace vorn {

/** Makes the signature library's objects, and has them open nothing: they refuse every URI that is not of the
 * document itself with an XSECException. */
class SignatureProvider : public XSECProvider {
 public:
  SignatureProvider();
};

/**
 * Has the signature library sign the canonical form of SignedInfo that Canonicaliser makes. The
 * library's own takes any attribute of an ancestor whose name begins with "xmlns" for a declaration in trees
 * parsed without namespace processing, down to a legal xmlns:xml, and verifiers then refuse the signature.
 *
 * To be called once the library has been started.
 */
void useOwnCanonicalSignedInfo();

}  // namespace vorn
