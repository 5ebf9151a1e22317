#pragma once

#include <xsec/framework/XSECProvider.hpp>

namespace vorn {

/** Makes the signature library's objects, and has them open nothing: they refuse every URI that is not of the
 * document itself with an XSECException. */
class SignatureProvider : public XSECProvider {
 public:
  SignatureProvider();
};

}  // namespace vorn
