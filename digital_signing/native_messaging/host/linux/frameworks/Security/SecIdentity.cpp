#include "Security/SecIdentity.h"

#include "linux/frameworks/Security/SecObjects.h"
#include "linux/frameworks/Security/TokenKey.h"

namespace vorn::frameworks {

Token tokenOf(SecIdentityRef identity) {
  const auto* object = objectCast<Identity>(identity);
  const TokenKey* key = object != nullptr ? object->key().tokenKey() : nullptr;
  return key != nullptr ? key->token() : Token{};
}

}  // namespace vorn::frameworks

using namespace vorn::frameworks;

CFTypeID SecIdentityGetTypeID() {
  return kTypeIdentity;
}

OSStatus SecIdentityCopyCertificate(SecIdentityRef identity, SecCertificateRef* certificate) {
  if (certificate == nullptr) {
    return errSecParam;
  }
  if (const auto* object = objectCast<Identity>(identity)) {
    object->certificate().retain();
    *certificate = asRef<SecCertificateRef>(&object->certificate());
    return errSecSuccess;
  }
  // A certificate in the identity's place is handed back as it is.
  if (const auto* object = objectCast<Certificate>(identity)) {
    object->retain();
    *certificate = asRef<SecCertificateRef>(object);
    return errSecSuccess;
  }
  return errSecParam;
}

OSStatus SecIdentityCopyPrivateKey(SecIdentityRef identity, SecKeyRef* privateKey) {
  const auto* object = objectCast<Identity>(identity);
  if (object == nullptr) {
    return errSecInvalidItemRef;
  }
  if (privateKey == nullptr) {
    return kInvalidPointer;
  }
  object->key().retain();
  *privateKey = asRef<SecKeyRef>(&object->key());
  return errSecSuccess;
}
