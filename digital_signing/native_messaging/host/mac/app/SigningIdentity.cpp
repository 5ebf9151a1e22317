#include "shared/base/SigningIdentity.h"

#include "mac/app/CertificateSelection.h"
#include "mac/app/KeychainCryptoKeyRSA.h"

namespace vorn {

namespace signing_identity {

SigningKey makeKey() {
  CertificateSelection& selection = CertificateSelection::getInstance();
  auto key = std::make_unique<KeychainCryptoKeyRSA>(selection.getCertificate(), selection.getPrivateKey());
  const PublicKeyText& publicHalf = *key;
  return {std::move(key), publicHalf};
}

std::string encodedCertificate() {
  return CertificateSelection::getInstance().getEncodedCertificate();
}

}  // namespace signing_identity

}  // namespace vorn
