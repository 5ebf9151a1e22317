#include "Security/SecKey.h"

#include "linux/frameworks/Security/SecObjects.h"

using namespace vorn::frameworks;

OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY** cssmKey) {
  const auto* object = objectCast<Key>(key);
  const CSSM_KEY* described = object != nullptr ? object->cssmKey() : nullptr;
  if (described == nullptr) return errSecInvalidItemRef;
  *cssmKey = described;
  return errSecSuccess;
}
