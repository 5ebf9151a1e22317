#include "Security/SecKey.h"

#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {

/** A malformed RSA key is kept without a description, so that the caller hears of it when asking for one. */
PublicKey::PublicKey(const x509::Certificate& certificate) {
  CSSM_KEYHEADER& header = cssmKey_.KeyHeader;
  header.HeaderVersion = CSSM_KEYHEADER_VERSION;
  header.BlobType = CSSM_KEYBLOB_RAW;
  header.KeyClass = CSSM_KEYCLASS_PUBLIC_KEY;
  header.KeyUsage = CSSM_KEYUSE_ANY;
  if (x509::isRsa(certificate)) {
    const auto bits = x509::rsaModulusBits(certificate.publicKey);
    valid_ = bits.has_value();
    header.Format = CSSM_KEYBLOB_RAW_FORMAT_PKCS1;
    header.AlgorithmId = CSSM_ALGID_RSA;
    header.LogicalKeySizeInBits = static_cast<std::uint32_t>(bits.value_or(0));
    data_.assign(certificate.publicKey.begin(), certificate.publicKey.end());
  } else {
    header.Format = CSSM_KEYBLOB_RAW_FORMAT_X509;
    data_.assign(certificate.publicKeyInfo.begin(), certificate.publicKeyInfo.end());
  }
  cssmKey_.KeyData = {data_.size(), data_.data()};
}

}  // namespace vorn::frameworks

using namespace vorn::frameworks;

CFTypeID SecKeyGetTypeID() {
  return kTypeKey;
}

OSStatus SecKeyGetCSSMKey(SecKeyRef key, const CSSM_KEY** cssmKey) {
  const auto* object = objectCast<Key>(key);
  const CSSM_KEY* described = object != nullptr ? object->cssmKey() : nullptr;
  if (described == nullptr) {
    return errSecInvalidItemRef;
  }
  if (cssmKey == nullptr) {
    return kInvalidPointer;
  }
  *cssmKey = described;
  return errSecSuccess;
}
