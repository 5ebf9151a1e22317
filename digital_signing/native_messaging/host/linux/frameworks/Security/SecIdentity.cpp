#include "Security/SecIdentity.h"

#include "linux/frameworks/Security/KeyStoreReport.h"
#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {

keys::Token tokenOf(SecIdentityRef identity) {
  const auto* object = objectCast<Identity>(identity);
  const RemoteKey* key = object != nullptr ? object->key().remoteKey() : nullptr;
  return key != nullptr ? key->token() : keys::Token{};
}

}  // namespace vorn::frameworks

using namespace vorn::frameworks;

OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef* certificate) {
  const auto* object = objectCast<Identity>(identity);
  if (object == nullptr) return errSecParam;
  object->certificate().retain();
  *certificate = asRef<SecCertificateRef>(&object->certificate());
  return errSecSuccess;
}

OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identity, SecKeyRef* privateKey) {
  const auto* object = objectCast<Identity>(identity);
  if (object == nullptr) return errSecInvalidItemRef;
  object->key().retain();
  *privateKey = asRef<SecKeyRef>(&object->key());
  return errSecSuccess;
}
