#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <xsec/enc/XSECCryptoKeyRSA.hpp>

#include "mac/app/CFRef.h"
#include "shared/base/SigningIdentity.h"

namespace vorn {

/** The RSA key that xml-security-c signs with: the private half stays in the key store and signs there, the
 * public half is read from the certificate. It signs, and nothing else; every other operation throws
 * XSECCryptoException of type UnsupportedError. */
class KeychainCryptoKeyRSA : public XSECCryptoKeyRSA, public PublicKeyText {
 public:
  /** `privateKey` is borrowed: it must outlive this object. The certificate is only read.
   * Throws XSECCryptoException when the certificate has no public key. A public key that is there but cannot
   * be read as an RSA key leaves the object without modulus and exponent. */
  KeychainCryptoKeyRSA(SecCertificateRef certificate, SecKeyRef privateKey);

  XSECCryptoKey::KeyType getKeyType() const override;
  const XMLCh* getProviderName() const override;

  /** Signs a digest of any supported kind, in spite of the name: the bytes at `hashBuf` are wrapped in the
   * DigestInfo of `hashType` and signed by PKCS#1 v1.5. Returns the count of base64 characters written,
   * without a zero byte. Throws XSECCryptoException when the key store fails, when its signature does not
   * verify with the certificate's public key, or when the text is longer than `base64SignatureBufLen`. */
  unsigned int signSHA1PKCS1Base64Signature(unsigned char* hashBuf, unsigned int hashLen,
                                            char* base64SignatureBuf, unsigned int base64SignatureBufLen,
                                            XSECCryptoHash::HashType hashType) const override;

  std::string getModulusBase64() const override;
  std::string getExponentBase64() const override;

  XSECCryptoKey* clone() const override { failUnsupported("clone"); }
  bool verifySHA1PKCS1Base64Signature(const unsigned char*, unsigned int, const char*, unsigned int,
                                      XSECCryptoHash::HashType) const override {
    failUnsupported("verifySHA1PKCS1Base64Signature");
  }
  unsigned int privateDecrypt(const unsigned char*, unsigned char*, unsigned int, unsigned int, PaddingType,
                              const XMLCh*, const XMLCh*, unsigned char*, unsigned int) const override {
    failUnsupported("privateDecrypt");
  }
  unsigned int publicEncrypt(const unsigned char*, unsigned char*, unsigned int, unsigned int, PaddingType,
                             const XMLCh*, const XMLCh*, unsigned char*, unsigned int) const override {
    failUnsupported("publicEncrypt");
  }
  unsigned int getLength() const override { failUnsupported("getLength"); }
  void loadPublicModulusBase64BigNums(const char*, unsigned int) override {
    failUnsupported("loadPublicModulusBase64BigNums");
  }
  void loadPublicExponentBase64BigNums(const char*, unsigned int) override {
    failUnsupported("loadPublicExponentBase64BigNums");
  }

 private:
  [[noreturn]] static void failUnsupported(const std::string& operation);
  void readPublicKey(std::span<const UInt8> der);

  SecKeyRef privateKey_;
  CFRef<CFDataRef> exponent_;
  CFRef<CFDataRef> modulus_;
};

/** The description of an error, cut to 1023 bytes. */
std::string describeError(CFErrorRef error);

/** Reads the length at `position` and moves behind it. 0x80 is the length 128. A zero byte
 * in front of the contents (it keeps a DER integer positive) is stepped over and not
 * counted. None when that would leave `der`. */
std::optional<std::size_t> readDerLength(std::span<const UInt8> der, std::size_t& position);

}  // namespace vorn
